#!/usr/bin/env bash
# Plays korvinexchange with clients, a link and a device that go wrong in every way, as it is installed. A
# seed that fails is printed with how to see it step by step.
#
# Usage: simulate.sh [REQUESTS [FIRST-SEED]]
#   REQUESTS    1000000 where it is missing, which takes less than a minute
#   FIRST-SEED  1 where it is missing
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/setup.sh
cmake --preset release >/dev/null
cmake --build --preset release --target korvinexchange_simulation >/dev/null
build/release/tests/korvinexchange_simulation "${1:-1000000}" "${2:-1}"
