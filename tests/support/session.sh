# What sessions use beside the machine's programs (see session.h). The current directory is the installation's.
# shellcheck shell=sh
dir=$PWD
work=$dir/rw/work
ini=$dir/rw/ini
PATH=$dir/play:$PATH # programs that a session puts before the machine's ones
TZ=UTC0
HOME=/
export dir PATH TZ HOME
mkdir -p play
ln -s "$VN_PROBE" "$SESSION/waits" # the probe, for a ps that shows a process's file, too

# The agent, and the program that calls single functions of the libraries (tests/probe).
vn_client() {
    "$VN_CLIENT" "$@"
}
probe() {
    "$VN_PROBE" "$@"
}

# The programs beside the agent.
vn_ctrlc() {
    "${VN_CLIENT%/*}/vn_ctrlc" "$@"
}
vn_rcmd() {
    "${VN_CLIENT%/*}/vn_rcmd" "$@"
}
vn_check() {
    "${VN_CLIENT%/*}/vn_check" "$@"
}

# The agent with its trace on standard error.
traced() {
    "$VN_CLIENT" -v "$@"
}

# The same, and on standard output the lines that only standard error or only the trace file has.
filed() {
    rm -f "$dir/rw/lgc/vn_client_.lgc"
    status=0
    traced "$@" 2>"$SESSION/err" || status=$?
    cat "$SESSION/err" >&2
    diff -U 0 "$SESSION/err" "$dir/rw/lgc/vn_client_.lgc" | sed -n '/^--- \|^+++ /d; s/^-\(.*\)/\1 (not in the file)/p; s/^+\(.*\)/\1 (only in the file)/p'
    return "$status"
}

# The same as traced without what is traced of the arguments.
brief() {
    status=0
    traced "$@" 2>"$SESSION/err" || status=$?
    sed '1,/--- ARGUMENTS/d' "$SESSION/err" >&2
    return "$status"
}

# ask WORDS...: calls of the agent with the identifier 7, each with the words of a shell. A line for each: exit
# status, standard output, standard error, and what it has stored, which is removed.
ask() {
    for words; do
        eval "vn_client -i 7 $words" >"$SESSION/out" 2>"$SESSION/err"
        WORDS=$words STATUS=$? awk '
            function show(name, file, text, line) {
                while ((getline line <file) > 0) {
                    sub(/^[ 0-9][0-9]:[0-9][0-9]:[0-9][0-9]#/, "<time>#", line)
                    text = text (text == "" ? "" : " / ") line
                }
                if (text != "") printf ", %s%s", name, text
            }
            BEGIN {
                printf "%s: %s", ENVIRON["WORDS"], ENVIRON["STATUS"]
                show("out ", ENVIRON["SESSION"] "/out")
                show("", ENVIRON["SESSION"] "/err")
                show("stored ", ENVIRON["dir"] "/rw/glbv/gv_client_sts_7.sgv")
                show("", ENVIRON["dir"] "/rw/glbv/gv_client_msg_7.sgv")
                print ""
            }'
        rm -f "$dir"/rw/glbv/gv_client_???_7.sgv
    done | runs
}

# play NAME [SCRIPT]: the script, else standard input, becomes a program of this name that is found before all
# others; a path stands for itself.
play() {
    case $1 in
    */*) program=$1 ;;
    *) program=$dir/play/$1 ;;
    esac
    {
        echo '#!/bin/sh'
        [ $# -gt 1 ] && printf '%s\n' "$2" || cat
    } >"$program"
    chmod 755 "$program"
}

# whole_installation: one in which nothing is doubtful. The machine's programs are in "bin", /etc is "etc".
whole_installation() {
    mkdir -p bin etc/opt/vorna .good
    chmod -R go-w .
    chmod o-rx rw/lgc rw/prot
    rm -r ro/remote ro/drive ro/bin/vn_[!am]* ro/bin/vbc_*
    rm rw/glbv/gv_r[ow].sgv rw/glbv/gv_ro_[!bd]* rw/glbv/gv_rw_[!w]*
    for file in bin/su bin/ps bin/grep bin/awk bin/cp bin/chmod bin/mount bin/mt bin/ssh bin/udevadm bin/tool \
        ro/bin/vn_client ro/db/damisql; do
        echo '#!/bin/sh' >"$file"
        chmod 755 "$file"
    done
    printf '# who may what\nroot %s\n' "$dir/bin/tool" >etc/vorna_cmdusers.allow
    cp -a ro rw etc bin vorna.ini .good/
}

# check OPTION...: the check of that installation. fault COMMANDS OPTION...: what it has to say after the
# commands; then the installation is whole again.
check() {
    vn_check -e "$dir/etc" -p "$dir/bin" "$@"
}
fault() {
    eval "$1"
    shift
    check -q "$@"
    set -- $?
    rm -rf ro rw etc bin vorna.ini
    cp -a .good/. .
    return "$1"
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
    printf %s "$2" >"$dir/rw/glbv/$1.sgv"
}
glbv() {
    for name in "$@"; do
        if [ -e "$dir/rw/glbv/$name.sgv" ]; then
            printf '%s = %s\n' "$name" "$(cat "$dir/rw/glbv/$name.sgv")"
        else
            printf '%s -\n' "$name"
        fi
    done
}

# stored ID: the result of the request, as the server finds it in the variables, which are removed.
stored() {
    glbv "gv_client_sts_$1" "gv_client_msg_$1"
    rm -f "$dir/rw/glbv/gv_client_sts_$1.sgv" "$dir/rw/glbv/gv_client_msg_$1.sgv"
}

# prot: the protocol, which is emptied.
prot() {
    if [ -e rw/prot/vorna.prot ]; then
        cat rw/prot/vorna.prot
        : >rw/prot/vorna.prot
    fi
}

# await FILE: waits, for a while, until the file is there, which is removed.
await() {
    i=0
    until [ -e "$1" ] || [ $((i += 1)) -gt 1000 ]; do
        sleep 0.01
    done
    rm -f "$1"
}

# x N [LETTER]: a text of N letters.
x() {
    printf "%*s" "$1" '' | tr ' ' "${2:-x}"
}

# sql STATEMENT: changes the backup server's catalogue.
sql() {
    "$dir/ro/db/damisql" -d vorna_db -q "$1" >/dev/null
}

# protocol: what the operators were told, which is removed.
protocol() {
    cat "$dir/rw/prot/vorna.prot" 2>/dev/null
    rm -f "$dir/rw/prot/vorna.prot"
}

# client NAME SYSTEM MODE OPTIONS: of the catalogue's last client.
client() {
    sql "update clients set name='$1',os='$2',accessmode='$3',access_options='$4' where client_id=10"
}

# settled: standard input, a trace of remote calls, without the catalogue's answers and what differs from run to
# run: descriptors, processes, $port and $own port. "[7]" becomes "(7)": it is no process.
settled() {
    sed -e '/+++ DB_ACCESS/,/--- DB_ACCESS/d' -e '/# *ReadFromHandle/d' -e '/# *PIPE_READ/d' -e '/# *loop with/d' \
        -e 's/\(socket \|SOCKET = \[\|shutdown(\)[0-9][0-9]*/\1<fd>/' -e 's/ ([0-9]*) closed/ (<fd>) closed/' \
        -e 's/\(child: \|job \)[0-9][0-9]*/\1<pid>/' -e 's/finished after [0-9]*s/finished after <n>s/' \
        -e '/still executing after \([3-9]\|[1-9][0-9]\)/d' -e '/ [EIW][0-9][0-9][0-9]-[A-Z]* *\[/!s/\[\([0-9][0-9]*\)\]/(\1)/g' \
        -e "s/${own:-no port}/<own>/g" -e "s/${port:-no port}/<port>/g" -e "s/$((${port:-65535} + 1))/<port + 1>/" \
        -e 's/portnumber [0-9][0-9]*/portnumber <own>/' -e 's/^daemon got [0-9][0-9]*/daemon got <own>/'
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

# daemon OPTIONS...: starts a control daemon that lives as long as the session; its port is in $port.
daemon() {
    [ -p "$SESSION/life" ] || {
        mkfifo "$SESSION/life" "$SESSION/port"
        exec 9<>"$SESSION/life"
    }
    ro/remote/ctrld "$@" <"$SESSION/life" >"$SESSION/port" 2>/dev/null 9>&- &
    read -r port <"$SESSION/port"
}
