# Prints what bash offers at the end of lines: offers.bash COMPLETION LINE...
source "$1"
shift
for line; do
    read -ra COMP_WORDS <<<"$line"
    [[ $line != *' ' ]] || COMP_WORDS+=('')
    COMP_CWORD=$((${#COMP_WORDS[@]} - 1)) COMPREPLY=()
    _vn_client
    offered=$(printf '%s\n' "${COMPREPLY[@]}" | sort -u | tr '\n' ' ')
    printf '%s: %s\n' "$line" "${offered% }"
done
