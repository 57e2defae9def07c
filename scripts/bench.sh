#!/usr/bin/env bash
# Measures the codecs in an optimised build, and prints the table with what memory alone costs.
#
# Usage: bench.sh [--peers] [--write] [-- ARGUMENTS]
#   --peers    installs other libraries and measures them in the same run
#   --write    puts the tables into docs/performance.md and the chart beside it
#   ARGUMENTS  for the benchmark program, such as --benchmark_filter=Linux
set -euo pipefail
cd "$(dirname "$0")/.."

peers=OFF
written=()
setup=--benchmarks
while [[ $# -gt 0 ]]; do
    case $1 in
    --peers)
        peers=ON
        setup=--peers
        ;;
    --write) written=(docs/performance.md docs/performance.svg) ;;
    --)
        shift
        break
        ;;
    *)
        sed -n '4,7s/^# //p' "$0" >&2
        exit 2
        ;;
    esac
    shift
done

scripts/setup.sh "$setup"
echo "bench: building"
cmake --preset benchmarks -DKORVINPACKAGE_BENCHMARK_PEERS=$peers >/dev/null
cmake --build --preset benchmarks --target korvinpackage_benchmarks >/dev/null

build=build/benchmarks
echo "bench: running"
"$build/benchmarks/korvinpackage_benchmarks" \
    --benchmark_repetitions=7 --benchmark_enable_random_interleaving=true \
    --benchmark_min_time=0.02 --benchmark_display_aggregates_only=true \
    --benchmark_out="$build/run.json" --benchmark_out_format=json "$@" >"$build/run.txt" 2>&1
python3 benchmarks/report.py "$build/run.json" "${written[@]}"
