#!/usr/bin/env bash
# Fails where a library of the preset dev, as built, is not a drop-in replacement of a released one: what
# was released has all its operations, and the classes have the layout and the virtual functions they had.
# The dumps are of x86-64 and of Debian 12's compiler.
#
# Usage: check-abi.sh
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --ci
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for dump in tests/data/released/*/*.abi.xz; do
    name=$(basename "$dump" .abi.xz)
    folder=${name#lib}
    xz --decompress --stdout "$dump" >"$work/released.abi"
    abidiff --no-added-syms "$work/released.abi" "build/dev/$folder/$name.so" || {
        echo "check-abi: $name breaks programs that were built with $dump" >&2
        exit 1
    }
done
echo "check-abi: the libraries can replace those that were released"
