#!/usr/bin/env bash
# Replays the corpora of the fuzzers under valgrind, and with other bytes in fresh memory.
#
# So nothing that the library gives out comes from memory that nobody has written: every observed field, frame,
# record and verdict is the same, whatever fresh and freed memory holds.
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/setup.sh --ci
build=build/dev
mapfile -t targets < <(cd fuzz/corpus && printf '%s\n' *)
cmake --preset dev >/dev/null
cmake --build --preset dev --target "${targets[@]/%/_replay}" >/dev/null

for target in "${targets[@]}"; do
    replay=("$build/fuzz/${target}_replay" "fuzz/corpus/$target")
    digests=$(MALLOC_PERTURB_=0 "${replay[@]}")
    for fill in 85 170; do
        if ! cmp <(MALLOC_PERTURB_=$fill "${replay[@]}") <(echo "$digests"); then
            echo "memcheck: $target depends on what was in its memory" >&2
            exit 1
        fi
    done
    echo "memcheck: $target: $(tail -n 1 <<<"$digests"), three times the same"
done
printf '%s\n' "${targets[@]}" | xargs -P "$(nproc)" -I '{}' \
    valgrind --quiet --error-exitcode=1 --leak-check=full --errors-for-leak-kinds=definite \
    "$build/fuzz/{}_replay" "fuzz/corpus/{}" >/dev/null
echo "memcheck: valgrind finds nothing in ${#targets[@]} replays"
