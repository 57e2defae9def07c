#!/usr/bin/env bash
# Installs what is missing, builds the programs, and shows requests and replies in every encoding: a
# client and a device program talk over a pipe, then korvinpack takes the same frames and records
# apart.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
echo "demo: building"
cmake --preset dev >/dev/null
cmake --build --preset dev --target korvinpack example-client example-device >/dev/null

build=build/dev
sent=$build/demo
rm -rf "$sent"
mkdir -p "$sent"
korvinpack() {
    echo "$ korvinpack $*" >&2
    "$build/tools/korvinpack" "$@"
}

echo
echo "== A client and a device =="
"$build/examples/example-client" "$build/examples/example-device" \
    examples/data/brightness.bin examples/data/playlist.txt "$sent"

echo
echo "== What was sent, field by field =="
korvinpack decode --class PackageRequestWriteData --raw --file "$sent/01-write-frame-request.bin"
echo
korvinpack decode --class PackageRequestReadData --form text --direction reply --json \
    --file "$sent/08-read-record-reply.txt"
echo
korvinpack decode --class PackageRequestReadData --form linux --raw \
    --file "$sent/14-linux-frame-reply.bin"
echo
korvinpack decode --class PackageRequestCombination --verify \
    --file "$sent/15-combination-record-request.txt"

echo "== A frame byte by byte, and the fields in which two replies differ =="
korvinpack explain --raw --file "$sent/01-write-frame-request.bin"
korvinpack diff "00 0500 00 01 00" "00 0600 00 05 00" || [[ $? -eq 1 ]]
echo

echo "== A package described in JSON, there and back =="
cat examples/data/write.json
korvinpack encode examples/data/write.json | tee "$sent/write.hex"
korvinpack encode --form text examples/data/write.json | tee "$sent/write.txt"
korvinpack decode --class PackageRequestWriteData --json --file "$sent/write.hex" \
    >"$sent/write.json"
korvinpack encode "$sent/write.json" | tail -n 1 | cmp - <(tail -n 1 "$sent/write.hex")
echo "demo: done"
