#compdef vn_client
# Completion of vn_client for zsh: functions, options, the words behind them.

# The value of a key of section [Pathes], as the agent itself finds it.
_vn_client_path() {
    local answer
    answer=$($words[1] -r -f u -m i -n VN_INI -s '[Pathes]' -t $1 2>&1 >/dev/null </dev/null) &&
        print -r -- ${answer##*STATUS=SUCCESS MSG=}
}

# The existing global variables.
_vn_client_variables() {
    local directory=$(_vn_client_path gv_rw_glbv)
    local -a names=($directory*.sgv(N:t:r))
    [[ -n $directory ]] && compadd "$@" -a names
}

# The programs of the program directory.
_vn_client_programs() {
    local directory=$(_vn_client_path gv_ro_bin)
    local -a names=($directory*(N-.x:t))
    [[ -n $directory ]] && compadd "$@" -a names
}

_vn_client_functions() {
    local -a functions=(
        'configure:configure the media server'
        'dir:list a directory'
        'Dircreate:create a directory'
        'existfile:test for a file'
        'filecopy:copy a file to or from the backup server'
        'GLBVread:read a global variable'
        'kill:stop the processes of a saveset'
        'move:place the header and trailer of a saveset'
        'performance:pass on figures of a media server'
        'ReadAndDelete:read and delete a global variable'
        'read_event_log:nothing, on Unix'
        'tapestatus:tell the state of a drive or disk'
        'usefile:one operation on a file'
        'Write:write a global variable'
        'x:run a permitted command as a user'
    )
    _describe -t functions function functions "$@"
}

_vn_client_operations() {
    local -a operations=(
        'c:write a new file' 'w:write at the end of a file' 'r:copy the file to standard output'
        'e:does it exist?' 'x:does it exist? with a record' 'f:find a text' 'd:delete'
        'm:change the mode of access' 'i:read an INI value' 'C:change an INI value'
    )
    _describe -t operations operation operations "$@"
}

_vn_client_directions() {
    local -a directions=('p:put' 'pd:put, then delete' 'g:get')
    _describe -t directions direction directions "$@"
}

_vn_client_kinds() {
    compadd "$@" TAPE_DRIVE DISK_HARD
    _path_files -/
}

_vn_client_hosts() {
    compadd "$@" LOCAL
    _hosts "$@"
}

_vn_client_users() {
    compadd "$@" vbccopy
    _users "$@"
}

# The letter of the function that the line calls.
_vn_client_function() {
    local -i i
    for ((i = 2; i < CURRENT; i++)); do
        case $words[i] in
        -f) ((i + 1 < CURRENT)) && print -r -- ${words[i + 1][1]} ;;
        -f?*) print -r -- ${words[i][3]} ;;
        -*) ;;
        *) ((i == 2)) && print -r -- ${words[2][1]} ;;
        esac
    done
}

_vn_client() {
    local mode= name= text= target= device= rest='*:argument: '
    case $(_vn_client_function) in
    f) mode=_vn_client_directions name=_files text='_path_files -/' target='_path_files -/' ;;
    u) mode=_vn_client_operations name=_files ;;
    t) target=_vn_client_kinds device=_files ;;
    p) device=_files ;;
    G | R) name=_vn_client_variables ;;
    D) name='_path_files -/' ;;
    e) name=_files ;;
    d) rest='*:directory:_path_files -/' ;;
    x) rest='*:program:_vn_client_programs' ;;
    esac
    local first='1:function:_vn_client_functions'
    if ((CURRENT > 2)); then
        first=
        # Behind the function the options begin anew.
        [[ $words[2] == -* ]] || { words[2]=() && ((CURRENT--)) }
    fi
    _arguments -A '-*' $first $rest \
        '-b[only traced]:text: ' \
        '-C[backup server]:server:_vn_client_hosts' \
        '-c[client node, only traced]:client:_vn_client_hosts' \
        "-d[device, number of drives or value]:text:$device" \
        '-f[function]:function:_vn_client_functions' \
        '-h[help]' \
        '-i[identifier of the request]:id: ' \
        '-l[only traced]:text: ' \
        "-m[mode of f, operation of u]:mode:$mode" \
        "-n[file, directory, variable or load command]:name:$name" \
        '-p[only traced]:text: ' \
        '-r[called from remote: no result variables]' \
        "-s[saveset, text, directory, section or command]:text:$text" \
        "-t[directory, key, days, kind of device or timer]:text:$target" \
        '-u[user]:user:_vn_client_users' \
        '-v[trace this call]' \
        '-w[ignored]:text: '
}

_vn_client "$@"
