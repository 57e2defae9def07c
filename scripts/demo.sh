#!/usr/bin/env bash
# Installs what is missing, builds the programs, and shows requests and replies in every encoding: a
# client and a device program talk over a pipe, korvinpack takes the same frames and records apart, and a
# client, a proxy and a device talk over TCP, at last with faults.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
echo "demo: building"
cmake --preset dev >/dev/null
cmake --build --preset dev --target korvinpack example-client example-device \
    korvin-device korvin-proxy korvin-client >/dev/null

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

echo
echo "== A client, a proxy and a device over TCP =="
loopback=$build/examples/loopback
work=$(mktemp -d)
servers=()
end_servers() {
    for server in "${servers[@]}"; do
        kill "$server" 2>/dev/null || true
        wait "$server" || echo "demo: process $server ended with status $?" >&2
    done
    servers=()
}
trap 'end_servers; rm -rf "$work"' EXIT

# Starts a program that listens on a free port, and sets "port" to it.
start() {
    rm -f "$work/$1.out"
    "$loopback/$1" "${@:2}" >"$work/$1.out" 2>>"$work/$1.log" &
    servers+=($!)
    until port=$(sed -n 's/.*listening on .*:\([0-9]*\)$/\1/p' "$work/$1.out" 2>/dev/null) \
        && [[ -n $port ]]; do
        kill -0 $! || { cat "$work/$1.log" >&2; return 1; }
        sleep 0.05
    done
}

client() {
    "$loopback/korvin-client" --proxy "127.0.0.1:$proxy_port" --timeout 300 --attempts 20 "$@"
}

# Through everything that a client can do; what is written is read back and compared.
tour() {
    client special 1
    client write 0x0A000010 01FF10AA
    client read 0x0A000010 4 read.bin
    printf '\x01\xFF\x10\xAA' | cmp - read.bin
    client write 0x0A001000 @64KiB.bin
    client read 0x0A001000 65536 read.bin
    cmp 64KiB.bin read.bin
    client upload 64KiB.bin show/intro.bin
    client download show/intro.bin 65536 read.bin
    cmp 64KiB.bin read.bin
    client memory-read 0 6
    client combination 0102030405 show/list.bin
}

state=$PWD/examples/loopback/device.json
loopback=$PWD/$loopback
cd "$work"
head -c 65536 /dev/urandom >64KiB.bin
start korvin-device --state "$state"
start korvin-proxy "device0=127.0.0.1:$port"
proxy_port=$port
tour
end_servers

echo
echo "== The same with 5 % of faults; data requests as Linux frames, which have a checksum =="
start korvin-device --state "$state" --faults 0.05 --seed 3
start korvin-proxy --linux "device0=127.0.0.1:$port"
proxy_port=$port
tour
end_servers
echo "replies that the proxy left out, garbled, stale or sent twice: $(grep -c 'left out' korvin-proxy.log)"
echo "demo: done"
