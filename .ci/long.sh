#!/usr/bin/env bash
# Runs one of the checks of .ci/long, which take too long for .ci/run, or lists them.
#
# Usage: long.sh [NAME [ARGUMENT...]]
set -euo pipefail
cd "$(dirname "$0")/long"

if [[ $# -eq 0 ]]; then
    echo "usage: long.sh NAME [ARGUMENT...], where NAME is one of:"
    for check in *; do
        printf '  %-10s %s\n' "${check%.*}" "$(sed -n '2s/^\(# \|"""\)//p' "$check")"
    done
    exit 0
fi
name=$1
for check in "$name".*; do
    [[ -x $check ]] && exec "./$check" "${@:2}"
done
echo "long: \"$name\" is not a check of .ci/long: $(printf '%s ' * | sed 's/\.[a-z]*//g')" >&2
exit 2
