# What sessions use beside the machine's programs (see session.h). The current directory is the installation's.
# shellcheck shell=sh
dir=$PWD
work=$dir/rw/work
ini=$dir/rw/ini
PATH=$dir/play:$PATH # programs that a session puts before the machine's ones
TZ=UTC0
HOME=/
export PATH TZ HOME
mkdir -p play

# The agent, and the program that calls single functions of the libraries (tests/probe).
vn_client() {
    "$VN_CLIENT" "$@"
}
probe() {
    "$VN_PROBE" "$@"
}

# The agent with its trace on standard error.
traced() {
    "$VN_CLIENT" -v "$@"
}

# play NAME: standard input becomes a program of this name that is found before all others.
play() {
    {
        echo '#!/bin/sh'
        cat
    } >"play/$1"
    chmod 755 "play/$1"
}

# set_ini FILE SECTION KEY VALUE, remove_ini FILE SECTION KEY: one line of an INI file in rw/ini, all others
# stay; the section "" is the part before the first section.
set_ini() {
    edit_ini "$ini/$1" "$2" "$3" "$3=$4"
}
remove_ini() {
    edit_ini "$ini/$1" "$2" "$3" ''
}
edit_ini() {
    SECTION=$2 KEY=$3 LINE=$4 awk '
        function put() { if (!done && ENVIRON["LINE"] != "") print ENVIRON["LINE"]; done = 1 }
        BEGIN { inside = ENVIRON["SECTION"] == ""; seen = inside }
        /^\[/ {
            if (inside) put()
            inside = $0 == "[" ENVIRON["SECTION"] "]"
            seen = seen || inside
        }
        inside && index($0, ENVIRON["KEY"] "=") == 1 { put(); next }
        { print }
        END { if (!seen) print "[" ENVIRON["SECTION"] "]"; put() }' "$1" >"$SESSION/ini" &&
        cat "$SESSION/ini" >"$1"
}

# set_glbv NAME VALUE, glbv NAME...: global variables; "-" stands for one that is not there.
set_glbv() {
    printf %s "$2" >"rw/glbv/$1.sgv"
}
glbv() {
    for name in "$@"; do
        if [ -e "rw/glbv/$name.sgv" ]; then
            printf '%s = %s\n' "$name" "$(cat "rw/glbv/$name.sgv")"
        else
            printf '%s -\n' "$name"
        fi
    done
}

# stored ID: the result of the request, as the server finds it in the variables, which are removed.
stored() {
    glbv "gv_client_sts_$1" "gv_client_msg_$1"
    rm -f "rw/glbv/gv_client_sts_$1.sgv" "rw/glbv/gv_client_msg_$1.sgv"
}

# x N [LETTER]: a text of N letters.
x() {
    printf "%*s" "$1" '' | tr ' ' "${2:-x}"
}

# runs: standard input with every run of ten or more letters that are alike as "x{255}".
runs() {
    awk '{
        text = ""
        while ($0 != "") {
            letter = substr($0, 1, 1)
            for (n = 1; n < length($0) && substr($0, n + 1, 1) == letter; n++) {
            }
            text = text (n < 10 ? substr($0, 1, n) : letter "{" n "}")
            $0 = substr($0, n + 1)
        }
        print text
    }'
}
