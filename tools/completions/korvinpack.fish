# Completion of korvinpack for fish: the program itself says what may come next, or nothing where a
# file is expected.

function __korvinpack_candidates
    set -l words (commandline -opc) (commandline -ct)
    $words[1] --complete $words[2..-1] 2>/dev/null
end

complete -c korvinpack -n 'test -n "$(__korvinpack_candidates)"' -f -a '(__korvinpack_candidates)'
