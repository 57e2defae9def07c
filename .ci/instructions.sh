#!/usr/bin/env bash
# Counts the instructions of a fixed list of operations with callgrind, in the libraries as the Debian packages
# build them. Fails where an operation takes over 3 % more than benchmarks/instructions.txt says, or over 3 %
# less, which means that the file is out of date.
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
# The C library and Qt take the same code paths on every processor, and nothing is random.
export GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX512F,-AVX512VL,-AVX2,-AVX,-ERMS,-FSRM
export QT_NO_CPU_FEATURE="avx avx2 avx512f" QT_HASH_SEED=0 LC_ALL=C.UTF-8
valgrind --quiet --tool=callgrind --instr-atstart=no --callgrind-out-file="$out/counts.%p" \
    build/measured/benchmarks/korvinpackage_operations

python3 benchmarks/instructions.py "$out" benchmarks/instructions.txt "$@"
