#!/usr/bin/env bash
# Fuzzes every decoder with clang's libFuzzer under address and undefined sanitizers, one process for each
# core. The next run goes on from the inputs in build/fuzz/corpus. An input that breaks a property is kept in
# build/fuzz/findings; build/fuzz/fuzz/TARGET_fuzzer FILE runs it again.
#
# Usage: fuzz.sh MINUTES [TARGET...]
#   MINUTES  for each target; 0.1 is six seconds
set -euo pipefail
cd "$(dirname "$0")/.."

minutes=${1:?usage: fuzz.sh MINUTES [TARGET...]}
shift
mapfile -t targets < <(cd fuzz/corpus && printf '%s\n' *)
if [[ $# -gt 0 ]]; then
    targets=("$@")
fi
seconds=$(awk -v minutes="$minutes" 'BEGIN { printf "%d", minutes * 60 }')
if [[ $seconds -le 0 ]]; then
    echo "fuzz: \"$minutes\" is not a number of minutes" >&2
    exit 2
fi

scripts/setup.sh --ci
build=build/fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz
mkdir -p "$build/findings" "$build/logs"

fuzz_target() {
    local target=$1
    mkdir -p "$build/corpus/$target"
    "$build/fuzz/${target}_fuzzer" "$build/corpus/$target" "fuzz/corpus/$target" \
        -artifact_prefix="$build/findings/$target-" -max_len=1024 -max_total_time="$seconds" \
        -print_final_stats=1 -rss_limit_mb=2048 -timeout=20 >"$build/logs/$target" 2>&1
}
export -f fuzz_target
export build seconds
status=0
ASAN_OPTIONS=malloc_context_size=8:quarantine_size_mb=64 \
    xargs -P "$(nproc)" -I '{}' bash -c 'fuzz_target {}' < <(printf '%s\n' "${targets[@]}") \
    || status=1

for target in "${targets[@]}"; do
    awk -v target="$target" '
        / cov: / { for (i = 1; i < NF; ++i) { if ($i == "cov:") edges = $(i + 1);
                                              if ($i == "ft:") features = $(i + 1) } }
        /number_of_executed_units/ { executions = $2 }
        /slowest_unit_time_sec/ { slowest = $2 }
        /peak_rss_mb/ { memory = $2 }
        END { printf "%-12s %10d executions, %5d edges, %6d features, slowest %d s, %d MiB\n", \
            target, executions, edges, features, slowest, memory }' "$build/logs/$target"
done
if [[ $status -ne 0 ]]; then
    echo "fuzz: a property does not hold; the end of the logs, and the inputs:" >&2
    for target in "${targets[@]}"; do
        grep -q 'Test unit written' "$build/logs/$target" || continue
        grep -vE '^(#|INFO|\s+#)|^0x|^Base64' "$build/logs/$target" | tail -n 20 >&2
    done
    ls "$build/findings" >&2
    exit 1
fi
echo "fuzz: ${#targets[@]} targets for $seconds s each, no property broken"
