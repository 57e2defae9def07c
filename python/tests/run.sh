#!/usr/bin/env bash
# Runs the tests of the Python package that PYTHONPATH leads to, and fails where they do not take all of its
# lines and branches.
#
# Usage: run.sh PYTHON
set -euo pipefail
tests=$(realpath "$(dirname "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work" # the folder python/ has a package without its module

"$1" -P -m coverage run --rcfile="$tests/../pyproject.toml" -m pytest -q "$tests"
"$1" -P -m coverage report --rcfile="$tests/../pyproject.toml"
