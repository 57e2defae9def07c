#!/usr/bin/env bash
# Follows the start pages of docs/ with what the preset dev builds, and compares the output with what they
# show.
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
pages=(docs/start-*.md)
python3 tests/docs/pages_test.py "${pages[@]}"
echo "start-pages: ${#pages[@]} pages do what they show"
