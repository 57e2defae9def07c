#!/usr/bin/env bash
# The long form of the differential test: the library and the second implementation in Python, over
# generated input.
#
# Usage: differential.sh [ROUNDS [FIRST_SEED]]   a round is 100,000 packages; 10 rounds by default
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
cmake --preset dev >/dev/null
cmake --build --preset dev --target conformance_generator korvinpack >/dev/null
first=${2:-1000}
for ((seed = first; seed < first + ${1:-10}; ++seed)); do
    echo "differential: seed $seed"
    tests/conformance/differential.sh build/dev/tests/conformance_generator \
        build/dev/tools/korvinpack "$seed" 100000
done
