#!/usr/bin/env bash
# Runs clang-tidy over the library that the others stand on.
#
# Usage: lint.sh [--all]
#   --all  also over the other libraries, tools, examples and tests, which takes many times as long
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --ci
sources=('korvinpackage/*.cpp')
build=build/lint
cmake --preset coverage -B "$build" -DCMAKE_UNITY_BUILD=OFF >/dev/null
if [[ ${1:-} == --all ]]; then
    sources+=('korvin*/*.cpp' 'tools/*.cpp' 'conformance/*.cpp' 'examples/*.cpp' 'tests/*.cpp' ':!tests/consumer' 'wireshark/*.cpp')
    cmake --build "$build" >/dev/null # for generated headers
fi
git ls-files "${sources[@]}" \
    | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p "$build" 2>/dev/null
