# Completion of vn_client for bash: functions, options, the words behind them. It needs nothing of the package
# bash-completion, but is found by it.

# The value of a key of section [Pathes], as the agent itself finds it.
_vn_client_path() {
    local answer
    answer=$("${COMP_WORDS[0]}" -r -f u -m i -n VN_INI -s '[Pathes]' -t "$1" 2>&1 >/dev/null </dev/null) &&
        printf '%s' "${answer##*STATUS=SUCCESS MSG=}"
}

# The letter of the function that the line calls, empty as long as there is none.
_vn_client_function() {
    local i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        -f) ((i + 1 < COMP_CWORD)) && printf '%.1s' "${COMP_WORDS[i + 1]}" ;;
        -f?*) printf '%.1s' "${COMP_WORDS[i]#-f}" ;;
        -*) continue ;;
        *) ((i == 1)) && printf '%.1s' "${COMP_WORDS[1]}" ;;
        esac
    done
}

# The existing global variables.
_vn_client_variables() {
    local directory file
    directory=$(_vn_client_path gv_rw_glbv) || return
    for file in "$directory"*.sgv; do
        [[ -f $file ]] || continue
        file=${file##*/}
        printf '%s\n' "${file%.sgv}"
    done
}

# What stands behind an option of a function.
_vn_client_argument() {
    local function=$1 option=$2 current=$3
    case $function$option in
    *-f) COMPREPLY=($(compgen -W "$functions" -- "$current")) ;;
    f-m) COMPREPLY=($(compgen -W 'p pd g' -- "$current")) ;;
    u-m) COMPREPLY=($(compgen -W 'c w r e x f d m i C' -- "$current")) ;;
    t-t)
        COMPREPLY=($(compgen -W 'TAPE_DRIVE DISK_HARD' -- "$current"))
        _vn_client_files -d "$current"
        ;;
    [GR]-n) COMPREPLY=($(compgen -W "$(_vn_client_variables)" -- "$current")) ;;
    D-n | f-[st]) _vn_client_files -d "$current" ;;
    [efu]-n | [pt]-d) _vn_client_files -f "$current" ;;
    x-u) COMPREPLY=($(compgen -u -W vbccopy -- "$current")) ;;
    *-[Cc]) COMPREPLY=($(compgen -A hostname -W LOCAL -- "$current")) ;;
    esac
}

# Adds the files, with -d only the directories, that begin with a text.
_vn_client_files() {
    local file
    while IFS= read -r file; do
        COMPREPLY+=("$file")
    done < <(compgen "$1" -- "$2")
    compopt -o filenames 2>/dev/null
}

_vn_client() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} function
    local functions='configure dir Dircreate existfile filecopy GLBVread kill move performance ReadAndDelete
        read_event_log tapestatus usefile Write x'
    COMPREPLY=()
    function=$(_vn_client_function)
    if [[ $previous == -[bCcdfilmnpstuw] ]]; then
        _vn_client_argument "$function" "$previous" "$current"
    elif [[ $current == -* ]]; then
        COMPREPLY=($(compgen -W '-b -C -c -d -f -h -i -l -m -n -p -r -s -t -u -v -w' -- "$current"))
    elif ((COMP_CWORD == 1)); then
        COMPREPLY=($(compgen -W "$functions" -- "$current"))
    elif [[ $function == d ]]; then
        COMPREPLY=($(compgen -W 'mount /Zarafa /Scalix /MySQL /PostgreSQL /NetWare' -- "$current"))
        _vn_client_files -d "$current"
    elif [[ $function == x ]]; then
        local directory
        directory=$(_vn_client_path gv_ro_bin) &&
            COMPREPLY=($(cd "$directory" 2>/dev/null && compgen -f -- "$current"))
    fi
}

complete -F _vn_client vn_client
