# Completion of korvinpack for bash: the program itself says what may come next.

_korvinpack()
{
    local words=("${COMP_WORDS[@]:1:COMP_CWORD}")
    # "=" and what follows it are words of their own.
    local current=${COMP_WORDS[COMP_CWORD]}
    mapfile -t COMPREPLY < <("${COMP_WORDS[0]}" --complete "${words[@]}" 2>/dev/null)
    [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace 2>/dev/null
    if [[ ${#COMPREPLY[@]} -eq 0 ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _korvinpack korvinpack
