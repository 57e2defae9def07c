#!/usr/bin/env bash
# Installs what is missing, builds everything and runs all tests.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --tests
echo "test: building"
cmake --preset dev >/dev/null
cmake --build --preset dev
echo "test: running"
ctest --preset dev -j "$(nproc)"
