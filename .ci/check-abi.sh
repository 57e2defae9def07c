#!/usr/bin/env bash
# Fails where a library of the preset dev, as built, is not a drop-in replacement of a released one: what
# was released has all its operations, and every public type has the size, the members, the virtual functions
# and the enumerators it had. The dumps are of x86-64 and of Debian 12's compiler.
#
# Usage: check-abi.sh [RELEASED NEW]
#   RELEASED NEW  folders with dumps to compare; by default every release and what is built
set -euo pipefail

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [[ $# -gt 0 ]]; then
    releases=("${1%/}/")
    new=$2
else
    cd "$(dirname "$0")/.."
    scripts/setup.sh --ci
    releases=(tests/data/released/*/)
    new=$work/new
    mkdir "$new"
    .ci/dump-abi.sh "$new"
fi

compared=()
for dump in $(printf '%s*.abi.xz\n' "${releases[@]}"); do
    name=$(basename "$dump" .xz)
    xz --decompress --stdout "$dump" >"$work/$name"
    abidiff --no-added-syms "$work/$name" "$new/$name" || {
        echo "check-abi: $name breaks programs that were built with $dump" >&2
        exit 1
    }
    compared+=("$name")
done
for dump in "$new"/*.abi; do
    name=$(basename "$dump")
    if [[ " ${compared[*]} " != *" $name "* ]]; then
        echo "check-abi: no release has $name to compare with" >&2
        exit 1
    fi
done
echo "check-abi: ${#compared[@]} dumps of ${#releases[@]} releases: the libraries can replace them"
