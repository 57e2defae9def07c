#!/usr/bin/env bash
# Runs tests of the preset dev, as built, in a locale with a decimal comma and in a Turkish one, whose upper
# and lower case are not those of the protocol's names: the tests of all libraries and of korvinpack, and the
# corpora. ctest gives every test the locale C.UTF-8; here the programs are run without it.
#
# Usage: locales.sh [BUILD]
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/dev}
export LOCPATH=$PWD/build/locales
mkdir -p "$LOCPATH"
# Takes the longest, and tests what others test as well.
slow='-Explain.AgreesWithTheDecodersOnGeneratedInput:EngineSimulation.*:Engine/Orders.*'

in_locale() {
    export LC_ALL=$1 LANGUAGE=en # which the system's messages are in
    [[ -d $LOCPATH/$LC_ALL ]] || localedef -i "${LC_ALL%%.*}" -f UTF-8 "$LOCPATH/$LC_ALL"
    if [[ $(locale decimal_point) != , ]]; then
        echo "locales: $LC_ALL is missing" >&2
        return 1
    fi
    local programs=(korvinpackage_tests korvininspect_tests korvinsimulator_tests korvinexchange_tests
        korvinpack_readers_tests korvinpack_tests)
    local replays=("$build"/fuzz/*_replay)
    for program in "${programs[@]}"; do
        "$build/tests/$program" --gtest_brief=1 --gtest_filter="$slow" || return 1
    done
    for replay in "${replays[@]}"; do
        "$replay" "fuzz/corpus/$(basename "${replay%_replay}")" | tail -n 1 || return 1
    done
    echo "locales: ${#programs[@]} test programs and ${#replays[@]} replays pass in $LC_ALL"
}

in_locale de_DE.UTF-8 &
german=$!
in_locale tr_TR.UTF-8
wait "$german"
