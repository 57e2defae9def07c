#!/usr/bin/env bash
# Makes small changes in the sources of the library, one at a time, and lists those that no test
# notices. See docs/mutation.md. Takes up to an hour; the arguments are those of mutate.py.
#
# Usage: mutate.sh [--count N] [--seed N] [--library korvinpackage|korvininspect|layouts] [SOURCE...]
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --ci
exec python3 scripts/mutate.py "$@"
