#!/usr/bin/env bash
# Runs the tests of the preset dev, as built, in a locale with a decimal comma and in a Turkish one,
# whose upper and lower case are not those of the protocol's names. ctest gives every test the locale
# C.UTF-8; here the programs are run without it.
#
# Usage: locales.sh [BUILD]
set -euo pipefail
cd "$(dirname "$0")/.."

build=${1:-build/dev}
export LOCPATH=$PWD/build/locales
mkdir -p "$LOCPATH"
# These take the longest, and look at the same code as others do.
slow=-Explain.AgreesWithTheDecodersOnGeneratedInput

in_locale() {
    export LC_ALL=$1
    [[ -d $LOCPATH/$LC_ALL ]] || localedef -i "${LC_ALL%%.*}" -f UTF-8 "$LOCPATH/$LC_ALL"
    if [[ $(locale decimal_point) != , ]]; then
        echo "locales: $LC_ALL is not there" >&2
        return 1
    fi
    for program in korvinpackage_tests korvininspect_tests; do
        "$build/tests/$program" --gtest_brief=1 --gtest_filter="$slow" || return 1
    done
    for replay in "$build"/fuzz/*_replay; do
        "$replay" "fuzz/corpus/$(basename "${replay%_replay}")" | tail -n 1 || return 1
    done
    echo "locales: the tests pass in $LC_ALL"
}

in_locale de_DE.UTF-8 &
german=$!
in_locale tr_TR.UTF-8
wait "$german"
