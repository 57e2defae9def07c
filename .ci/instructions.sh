#!/usr/bin/env bash
# Counts the instructions of a fixed list of operations with callgrind, of the libraries as the Debian
# packages have them, and compares them with those of benchmarks/instructions.txt: fails where one needs
# over 3 % more, and where the file is out of date because one needs over 3 % less.
#
# Usage: instructions.sh [--update]
#   --update  writes the counts into the file instead
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --benchmarks
debian/rules measured TARGET=korvinpackage_operations

out=$PWD/build/measured/callgrind
rm -rf "$out"
mkdir -p "$out"
# The same code paths of the C library and of Qt on every processor, and no randomness.
export GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX512F,-AVX512VL,-AVX2,-AVX,-ERMS,-FSRM
export QT_NO_CPU_FEATURE="avx avx2 avx512f" QT_HASH_SEED=0 LC_ALL=C.UTF-8
valgrind --quiet --tool=callgrind --instr-atstart=no --callgrind-out-file="$out/counts.%p" \
    build/measured/benchmarks/korvinpackage_operations

python3 benchmarks/instructions.py "$out" benchmarks/instructions.txt "$@"
