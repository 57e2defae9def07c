#!/usr/bin/env bash
# Measures the codecs of the libraries as the Debian packages have them, beside what memory alone costs. With
# --peers and without ARGUMENTS it judges them by benchmarks/targets.py; on a busy machine it says so and fails.
#
# Usage: bench.sh [--peers] [--write] [-- ARGUMENTS]
#        bench.sh --python
#   --peers    installs other libraries and measures them in the same run
#   --write    with --peers: puts the results into docs/performance.md, with its chart and all rows beside it
#   --python   measures the Python package instead, beside the struct module, pymodbus and scapy
#   ARGUMENTS  for the benchmark program, such as --benchmark_filter=Linux
set -euo pipefail
cd "$(dirname "$0")/.."

peers=OFF
python=OFF
target=korvinpackage_benchmarks
written=()
setup=--benchmarks
while [[ $# -gt 0 ]]; do
    case $1 in
    --peers)
        peers=ON
        setup=--peers
        ;;
    --python)
        python=ON
        target=korvinpackage_python
        setup=--peers
        ;;
    --write) written=(--write) ;;
    --)
        shift
        break
        ;;
    *)
        sed -n '5,10s/^# //p' "$0" >&2
        exit 2
        ;;
    esac
    shift
done

scripts/setup.sh "$setup"
debian/rules measured TARGET=$target PEERS=$peers PYTHON=$python
if [[ $python == ON ]]; then
    PYTHONPATH=build/measured/python/package exec /usr/bin/python3 -P python/benchmark.py
fi

# Many short repetitions in random order: the smallest times count, and those of the processes show whether
# the machine was quiet.
processes=()
for number in 1 2 3; do
    echo "bench: process $number of 3"
    processes+=("build/measured/process-$number.json")
    build/measured/benchmarks/korvinpackage_benchmarks \
        --benchmark_repetitions=30 --benchmark_enable_random_interleaving=true \
        --benchmark_min_time=0.001 --benchmark_out="${processes[-1]}" --benchmark_out_format=json "$@" \
        >build/measured/run.txt 2>&1 || { tail -n 5 build/measured/run.txt >&2; exit 1; }
done
python3 benchmarks/report.py "${written[@]}" "${processes[@]}"
