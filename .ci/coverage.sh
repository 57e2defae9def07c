#!/usr/bin/env bash
# Runs the tests under address and undefined-behaviour sanitizers, and measures in the same run what they
# cover of the libraries, with clang's source-based coverage, which counts the branches of the source, not
# those that the compiler adds. Tests that replace malloc, as the sanitizers do, have a build of their own.
# Fails below 100 % of lines or branches.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --ci
build=build/coverage
rm -rf "$build/profiles"
export LLVM_PROFILE_FILE=$PWD/$build/profiles/%p.profraw
cmake --preset coverage >/dev/null
cmake --build --preset coverage
ctest --preset coverage -j "$(nproc)"
cmake --preset coverage-memory >/dev/null
cmake --build --preset coverage-memory
LC_ALL=C.UTF-8 build/coverage-memory/tests/outofmemory_tests --gtest_brief=1

# Programs that are killed, or have no space to write, leave profiles that cannot be read.
llvm-profdata merge --sparse --failure-mode=all "$build"/profiles/*.profraw -o "$build/all.profdata"
measured=("$build/korvinpackage/libkorvinpackage.so"
    -object "$build/korvininspect/libkorvininspect.so"
    -object "$build/korvinsimulator/libkorvinsimulator.so"
    -object "$build/korvinexchange/libkorvinexchange.so"
    -object "$build/tests/korvinpackage_tests" # has some of the private headers
    -instr-profile="$build/all.profdata")
sources=("$PWD"/korvinpackage/*.{cpp,h} "$PWD"/korvininspect/*.{cpp,h}
    "$PWD"/korvinsimulator/*.{cpp,h} "$PWD"/korvinexchange/*.{cpp,h})
report=$(llvm-cov report "${measured[@]}" --show-branch-summary "${sources[@]}")
# Columns: file, regions, functions, lines and branches, each as number, missed and percentage.
awk '/^TOTAL/ || /\.(cpp|h) / { printf "%-32s lines %6s of %5d   branches %7s of %4d\n", \
        $1, $10, $8, $13, $11 }' <<<"$report"
if ! awk '/^TOTAL/ { exit !($9 == 0 && $12 == 0) }' <<<"$report"; then
    echo "coverage: below 100 %; what is missing:" >&2
    llvm-cov show "${measured[@]}" --show-branches=count --show-instantiations=false \
        "${sources[@]}" | grep -E '^/|\|      0\||True: 0,|False: 0\]' >&2
    exit 1
fi
awk '/^TOTAL/ { printf "coverage: all %d lines and %d branches\n", $8, $11 }' <<<"$report"
