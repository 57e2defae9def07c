#!/usr/bin/env bash
# Simulates korvinexchange with clients, a link and a device that go wrong in every way.
#
# Prints a seed that fails with the command that shows it step by step.
#
# Usage: simulate.sh [REQUESTS [FIRST-SEED]]
#   REQUESTS    1000000 by default, which takes less than a minute
#   FIRST-SEED  1 by default
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/setup.sh --tests
cmake --preset ci >/dev/null
cmake --build --preset ci --target korvinexchange_simulation >/dev/null
build/ci/tests/korvinexchange_simulation "${1:-1000000}" "${2:-1}"
