#!/usr/bin/env bash
# Does what the start pages of docs/ say, with what the preset dev builds, and compares what comes out with
# what they show.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
scripts/setup.sh --tests
cmake --preset dev >/dev/null
cmake --build --preset dev --target korvinpack korvinexchange korvinsimulator >/dev/null
cmake --install build/dev --prefix "$work/prefix" >/dev/null
library=$(dirname "$(find "$work/prefix" -name libkorvinpackage.so)")
export PATH=$work/prefix/bin:$PATH PKG_CONFIG_PATH=$library/pkgconfig
# The linker tells the pages' programs where the libraries are, which the packages have in a usual place.
export LD_RUN_PATH=$library
# Where one user's dissectors are.
export HOME=$work
mkdir -p "$HOME/.local/lib"
cp -r "$library/wireshark" "$HOME/.local/lib"
python3 tests/startpages_test.py docs/start-*.md
