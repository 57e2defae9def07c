#!/usr/bin/env bash
# Does what the start pages of docs/ say, and compares what comes out with what they show.
#
# Usage: start-pages.sh [--installed]
#   --installed  with the packages of this machine; else with what the preset dev builds
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [[ ${1:-} != --installed ]]; then
    scripts/setup.sh --tests
    cmake --preset dev >/dev/null
    cmake --build --preset dev --target korvinpack korvinsimulator >/dev/null
    cmake --install build/dev --prefix "$work/prefix" >/dev/null
    library=$(dirname "$(find "$work/prefix" -name libkorvinpackage.so)")
    export PATH=$work/prefix/bin:$PATH LD_LIBRARY_PATH=$library PKG_CONFIG_PATH=$library/pkgconfig
    # Where one user's dissectors are.
    export HOME=$work
    mkdir -p "$HOME/.local/lib"
    cp -r "$library/wireshark" "$HOME/.local/lib"
fi
python3 tests/startpages_test.py docs/start-*.md
