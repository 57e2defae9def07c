#!/usr/bin/env bash
# Follows README.md and the start pages of docs/ with what the preset dev builds, and compares the output with
# what they show. Pastes the block of README.md with programs in the background several times.
set -euo pipefail
cd "$(dirname "$0")/.."

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
scripts/setup.sh --tests
cmake --preset dev -DKORVINPACKAGE_BUILD_PYTHON=ON >/dev/null
cmake --build --preset dev --target korvinpack korvinexchange korvinsimulator korvinpackage_python >/dev/null
cmake --install build/dev --prefix "$work/prefix" >/dev/null
library=$(dirname "$(find "$work/prefix" -name libkorvinpackage.so)")
export PATH=$work/prefix/bin:$PATH PKG_CONFIG_PATH=$library/pkgconfig
# Debian packages modules for its own Python, which need not be the first in the path.
ln -s /usr/bin/python3 "$work/prefix/bin/python3"
PYTHONPATH=$(dirname "$(find "$work/prefix" -type d -name korvinpackage -path '*/dist-packages/*')")
export PYTHONPATH
# Programs find the libraries, which the packages install in a usual place.
export LD_RUN_PATH=$library
# Wireshark finds the dissector in the user's home.
export HOME=$work
mkdir -p "$HOME/.local/lib"
cp -r "$library/wireshark" "$HOME/.local/lib"
pages=(README.md docs/start-*.md)
python3 tests/docs/pages_test.py "${pages[@]}"
echo "start-pages: ${#pages[@]} pages do what they show"

pasted=$(awk '/^<!-- paste -->/ { wanted = 1; next }
    /^```/ { if (inside) exit; inside = wanted; next }
    inside' README.md)
times=5
for ((i = 1; i <= times; ++i)); do
    output=$(timeout 900 bash -c "$pasted" 2>&1)
    if [[ $output != *"read 0x0A000010 3 "*" ok, "*" 01 FF 10"* ]]; then
        echo "start-pages: pasted the ${i}th time, the block of README.md printed: $output" >&2
        exit 1
    fi
    sleep 0.2 # until the ports are free
done
echo "start-pages: the block of README.md works $times times out of $times"
