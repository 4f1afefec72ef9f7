# Completion of zvevent for bash, to be sourced. What there is to complete is what the tool's own help
# lists, so that it is never out of step; everything else is a file name.
_zvevent() {
    local help words word=${COMP_WORDS[COMP_CWORD]}
    if [ "$COMP_CWORD" -gt 1 ]; then
        help=$("$1" "${COMP_WORDS[1]}" --help 2>/dev/null)
    else
        help=$("$1" --help 2>/dev/null)
        words=$(sed -n '/^Subcommands:/,$s/^  \([a-z]*\) .*/\1/p' <<<"$help")
    fi
    words+=" $(sed -n 's/^  \(-[^ ]*\).*/\1/p' <<<"$help" | tr ',' ' ')"
    COMPREPLY=()
    if [ "$COMP_CWORD" = 1 ] || [[ $word == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$words" -- "$word")
    fi
}
complete -o default -F _zvevent zvevent
