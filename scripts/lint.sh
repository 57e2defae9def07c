#!/usr/bin/env bash
# Runs clang-tidy over the library that the others stand on.
#
# Usage: lint.sh [--all]
#   --all  also over the other libraries, tools, examples and tests, which takes many times as long
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --ci
sources=('korvinpackage/*.cpp')
if [[ ${1:-} == --all ]]; then
    sources+=('korvin*/*.cpp' 'tools/*.cpp' 'examples/*.cpp' 'tests/*.cpp' ':!tests/consumer')
fi
cmake --preset coverage >/dev/null
cmake --build --preset coverage >/dev/null # for generated headers
git ls-files "${sources[@]}" \
    | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/coverage 2>/dev/null
