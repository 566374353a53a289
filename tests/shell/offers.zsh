# Prints what zsh offers at the end of lines: offers.zsh DIRECTORY-OF-FUNCTIONS LINE... An interactive zsh completes
# them; what it is given to offer is marked with a byte that nothing else prints.
zmodload zsh/zpty
zpty shell zsh -f -i
zpty -w shell "PROMPT=; fpath=(${(q)1} \$fpath); autoload -Uz compinit; compinit -D -u
compadd() {
    if [[ \${@[1,(i)(-|--)]} == *-(O|A|D)\ * ]]; then
        builtin compadd \"\$@\"
    else
        local -a offered; builtin compadd -A offered \"\$@\"
        print -lr -- \$'\\2'\${^offered}
        builtin compadd \"\$@\"
    fi
}
zle -C offer list-choices _main_complete; bindkey '^I' offer
ended() { print -r -- \$'\\3'; zle kill-buffer }; zle -N ended; bindkey '^T' ended; print -r -- \$'\\3'"
zpty -r -m shell text $'*\3*'
shift
for line; do
    zpty -w -n shell "$line"$'\t\x14'
    zpty -r -m shell text $'*\3*'
    print -r -- "$line:" ${(ou)${(M)${(f)${text//$'\r'}}:#*$'\2'*}//*$'\2'}
done
zpty -d shell
