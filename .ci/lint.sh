#!/usr/bin/env bash
# Runs shellcheck over all scripts, and clang-tidy over the library that all others use and over the other
# sources that differ from those of main, or on main from those of the commit before.
#
# Usage: lint.sh [--all]
#   --all  clang-tidy over all that is C++, which takes many times as long
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --ci
mapfile -t scripts < <(git grep -lE '^#!.*\b(ba)?sh$')
shellcheck "${scripts[@]}"
echo "lint: shellcheck accepts ${#scripts[@]} scripts"

base=$(git merge-base HEAD origin/main 2>/dev/null || git rev-parse HEAD)
if [[ $base == "$(git rev-parse HEAD)" ]]; then
    base=HEAD^
fi
mapfile -t sources < <(git ls-files 'korvin*/*.cpp' 'tools/*.cpp' 'conformance/*.cpp' 'examples/*.cpp' \
    'tests/*.cpp' 'wireshark/*.cpp' 'python/*.cpp' ':!tests/consumer')
if [[ ${1:-} != --all ]]; then
    changed=$(git diff --name-only --diff-filter=d "$base" -- '*.cpp')
    mapfile -t sources < <(printf '%s\n' "${sources[@]}" \
        | grep -xFf <(git ls-files 'korvinpackage/*.cpp'; echo "$changed"))
fi
build=build/lint
cmake --preset coverage -B "$build" -DCMAKE_UNITY_BUILD=OFF -DKORVINPACKAGE_BUILD_PYTHON=ON >/dev/null
if printf '%s\n' "${sources[@]}" | grep -qv '^korvinpackage/'; then
    cmake --build "$build" >/dev/null # for generated headers
fi
printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 1 clang-tidy --quiet -p "$build" 2>/dev/null
echo "lint: clang-tidy accepts ${#sources[@]} sources"
