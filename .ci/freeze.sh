#!/usr/bin/env bash
# Freezes the cases of the conformance kit as the golden frames and records of a release, one file for
# each class and form, and the ABI of the libraries that the preset dev has built; lists their sums.
# .ci/check-released.sh and .ci/check-abi.sh hold later ones to it ever after.
#
# Usage: freeze.sh VERSION
set -euo pipefail
cd "$(dirname "$0")/.."

released=tests/data/released
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
for library in korvinpackage korvininspect korvinexchange korvinsimulator; do
    abidw --headers-dir "$library/include" --drop-private-types --exported-interfaces-only \
        --no-comp-dir-path --no-corpus-path --no-show-locs \
        --out-file "$released/$1/lib$library.abi" "build/dev/$library/lib$library.so"
done
sed -i "s|$PWD/||g" "$released/$1"/*.abi
if grep -l "'/[^']*korvin" "$released/$1"/*.abi; then
    echo "freeze: a dump names a folder of this machine" >&2
    exit 1
fi
xz -9 "$released/$1"/*.abi
(cd "$released" && LC_ALL=C sha256sum "$1"/*.abi.xz "$1"/*.jsonl >>SHA256SUMS)
