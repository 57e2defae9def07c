#!/usr/bin/env bash
# Freezes the cases of the conformance kit as the golden frames and records of a release, one file for
# each class and form, and lists their sums. scripts/check-released.sh holds them to it ever after.
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
(cd "$released" && LC_ALL=C sha256sum "$1"/*.jsonl >>SHA256SUMS)
