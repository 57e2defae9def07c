#!/usr/bin/env bash
# Runs clang-tidy over the library that all others use.
#
# Usage: lint.sh [--all]
#   --all  also over the other libraries, tools, examples and tests, which takes many times longer
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --ci
sources=('korvinpackage/*.cpp')
build=build/lint
cmake --preset coverage -B "$build" -DCMAKE_UNITY_BUILD=OFF >/dev/null
if [[ ${1:-} == --all ]]; then
    sources+=('korvin*/*.cpp' 'tools/*.cpp' 'conformance/*.cpp' 'examples/*.cpp' 'tests/*.cpp'
        'wireshark/*.cpp' ':!tests/consumer')
    cmake --build "$build" >/dev/null # for generated headers
fi
mapfile -t files < <(git ls-files "${sources[@]}")
printf '%s\n' "${files[@]}" | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p "$build" 2>/dev/null
echo "lint: ${#files[@]} sources, no findings"
