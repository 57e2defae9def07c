#!/usr/bin/env bash
# Freezes the cases of the conformance kit as the golden frames and records of a release, one file for
# each class and form, and the ABI of the libraries that the preset dev has built; lists their sums.
# .ci/check-released.sh and .ci/check-abi.sh hold later ones to it ever after.
#
# Before its release, which is the tag vVERSION, a version may be frozen anew, in a commit with the subject
# "Freeze VERSION anew".
#
# Usage: freeze.sh VERSION
set -euo pipefail
cd "$(dirname "$0")/.."

released=tests/data/released
if [[ -n $(git tag --list "v$1") ]]; then
    echo "freeze: $1 has been released" >&2
    exit 1
fi
rm -rf "${released:?}/$1"
sed -i "\|  $1/|d" "$released/SHA256SUMS"
mkdir "$released/$1"
python3 - conformance/cases.jsonl "$released/$1" <<'END'
import json
import sys

for line in open(sys.argv[1], encoding="utf-8"):
    case = json.loads(line)
    form = case["case"].split(": ")[-2]
    with open(f"{sys.argv[2]}/{case['class']}.{form}.jsonl", "a", encoding="utf-8") as file:
        file.write(line)
END
.ci/dump-abi.sh "$released/$1"
if grep -l "'/[^']*korvin" "$released/$1"/*.abi; then
    echo "freeze: a dump names a folder of this machine" >&2
    exit 1
fi
xz -9 "$released/$1"/*.abi
(cd "$released" && LC_ALL=C sha256sum "$1"/*.abi.xz "$1"/*.jsonl >>SHA256SUMS)
