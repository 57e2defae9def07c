#!/usr/bin/env bash
# Lets the library and the second implementation encode and decode the same generated input, and
# fails where they differ.
#
# Usage: differential.sh GENERATOR KORVINPACK SEED COUNT
set -euo pipefail

cases=$(mktemp)
trap 'rm -f "$cases"' EXIT
"$1" "$3" "$4" >"$cases"
"$2" conform --timeout 60 --cases "$cases" -- python3 "$(dirname "$0")/reference.py"
