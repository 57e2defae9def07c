#!/usr/bin/env bash
# Lets the library and the second implementation encode and decode the same generated input, and
# fails where they differ.
#
# Usage: differential.sh GENERATOR KORVINPACK REFERENCE SEED COUNT
set -euo pipefail

cases=$(mktemp)
trap 'rm -f "$cases"' EXIT
"$1" "$4" "$5" >"$cases"
"$2" conform --timeout 60 --cases "$cases" -- python3 "$3"
