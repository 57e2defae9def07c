#!/usr/bin/env bash
# Installs what is missing, builds the programs, and shows requests and replies in every encoding: a client
# and a simulated device, the same frames and records taken apart by korvinpack, and a client, a proxy and a
# device over TCP, first without and then with faults. Fails where a program does, or shows something else.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh
echo "demo: building"
cmake --preset release >/dev/null
cmake --build --preset release --target korvinpack example-client korvin-device korvin-proxy korvin-client \
    >/dev/null
build=build/release
sent=$build/demo
work=$(mktemp -d)
servers=()
comparisons=0
rm -rf "$sent"
mkdir -p "$sent"

fail() {
    echo "demo: $*" >&2
    exit 1
}

# Ends the servers; each must have run until now, and end well.
end_servers() {
    local server ended=("${servers[@]}")
    servers=()
    for server in "${ended[@]}"; do
        kill "$server" 2>/dev/null || fail "${names[$server]} has ended by itself: $(tail -n 1 "$work/${names[$server]}.log")"
        wait "$server" || fail "${names[$server]} ended with status $?: $(tail -n 1 "$work/${names[$server]}.log")"
    done
}

clean_up() {
    local status=$?
    kill "${servers[@]}" 2>/dev/null || true
    rm -rf "$work"
    [[ $status -eq 0 ]] || echo "demo: failed" >&2
}
trap clean_up EXIT

# Runs a command, prints what it prints, and compares: each regular expression before "--" must match a line.
shows() {
    local expected=()
    while [[ $1 != -- ]]; do
        expected+=("$1")
        shift
    done
    shift
    "$@" | tee "$work/shown"
    for line in "${expected[@]}"; do
        grep -qE -- "$line" "$work/shown" || fail "\"$*\" has not shown \"$line\""
        comparisons=$((comparisons + 1))
    done
}

same() {
    cmp "$1" "$2" || fail "\"$1\" and \"$2\" are not the same"
    comparisons=$((comparisons + 1))
}

korvinpack() {
    echo "$ korvinpack $*" >&2
    "$build/tools/korvinpack" "$@"
}

echo
echo "== A client and a device =="
data=examples/data/brightness.bin
shows "^All of it came out as it should" -- \
    "$build/examples/example-client" $data examples/data/playlist.txt "$sent"
same <(tail -c 44 "$sent/01-write-frame-request.bin") $data

echo
echo "== What was sent, field by field =="
bytes=$(od -An -v -tx1 $data | tr -d ' \n')
shows "^lowAddr +16 " "^packageDataLength +44 " "^data +44 bytes: 42 72 69 67" -- \
    korvinpack decode --class PackageRequestWriteData --raw --file "$sent/01-write-frame-request.bin"
echo
shows '"commResult": "ok"' "\"data\": \"$bytes\"" -- \
    korvinpack decode --class PackageRequestReadData --form text --direction reply --json \
    --file "$sent/08-read-record-reply.txt"
echo
shows "^lowAddr +153 " "^packResult +invalidPort " "^replyDataLength +0$" -- \
    korvinpack decode --class PackageRequestReadData --form linux --raw \
    --file "$sent/14-linux-frame-reply.bin"
echo
shows "^class +PackageRequestWriteData" "^class +PackageRequestWriteFile" "^class +PackageRequestReadData" -- \
    korvinpack decode --class PackageRequestCombination --verify \
    --file "$sent/15-combination-record-request.txt"

echo "== A frame byte by byte, and the fields in which two replies differ =="
shows "PackageRequestWriteData, 84 bytes: ok" " 2C 00 00 00 +packageDataLength +44 " -- \
    korvinpack explain --raw --file "$sent/01-write-frame-request.bin"
differs() {
    korvinpack diff "$@" || [[ $? -eq 1 ]]
}
shows "serialNum +5 -> 6" "commResult .*ok.* -> .*timeout" -- differs "00 0500 00 01 00" "00 0600 00 05 00"
echo

echo "== A package described in JSON, there and back =="
cat examples/data/write.json
shows "^00 07 00 75 73 62 .* 03 00 00 00 01 FF 10$" -- korvinpack encode examples/data/write.json
cp "$work/shown" "$sent/write.hex"
shows "^7,usb.*,data,3,1/255/16$" -- korvinpack encode --form text examples/data/write.json
korvinpack decode --class PackageRequestWriteData --json --file "$sent/write.hex" >"$sent/write.json"
same <(korvinpack encode "$sent/write.json") "$sent/write.hex"

echo
echo "== A client, a proxy and a device over TCP =="
declare -A names
loopback=$PWD/$build/examples/loopback
tools=$PWD/$build/tools

# Starts a program that listens on a free port, and sets "port" to it.
start() {
    local program=$1 deadline=$((SECONDS + 10))
    : >"$work/$program.out"
    PATH=$tools:$loopback:$PATH "$program" "${@:2}" >"$work/$program.out" 2>"$work/$program.log" &
    servers+=($!)
    names[$!]=$program
    until port=$(sed -n 's/.*listening on .*:\([0-9]*\)$/\1/p' "$work/$program.out") && [[ -n $port ]]; do
        kill -0 $! 2>/dev/null || fail "$program has ended by itself: $(tail -n 1 "$work/$program.log")"
        [[ $SECONDS -lt $deadline ]] || fail "$program does not say where it listens"
        sleep 0.05
    done
}

client() {
    "$loopback/korvin-client" --proxy "127.0.0.1:$proxy_port" --timeout 300 --attempts 20 "$@" \
        | tee -a "$work/client.out"
}

# Does everything that a client can do, and reads back what it has written.
tour() {
    cd "$work"
    : >client.out
    shows " ok, .* 1 of 1 devices$" -- client special 1
    client write 0x0A000010 01FF10AA
    client read 0x0A000010 4 read.bin
    same read.bin <(printf '\x01\xFF\x10\xAA')
    client write 0x0A001000 @64KiB.bin
    client read 0x0A001000 65536 read.bin
    same read.bin 64KiB.bin
    client upload 64KiB.bin show/intro.bin
    client download show/intro.bin 65536 read.bin
    same read.bin 64KiB.bin
    shows " 4B 4F 52 56 49 4E$" -- client memory-read 0 6
    shows " 01 02 03 04 05$" -- client combination 0102030405 show/list.bin
}

state=$PWD/examples/loopback/device.json
head -c 65536 /dev/urandom >"$work/64KiB.bin"
start korvin-device --config "$state"
start korvin-proxy "device0=127.0.0.1:$port"
proxy_port=$port
tour
end_servers

echo
echo "== The same with 5 % of faults; data requests as Linux frames, which have a checksum =="
start korvin-device --config "$state" --faults 0.05 --seed 3
start korvin-proxy --linux "device0=127.0.0.1:$port"
proxy_port=$port
tour
end_servers
repeated=$(awk '{ sub(/ repeated,.*/, ""); sum += $NF } END { print sum + 0 }' client.out)
[[ $repeated -gt 0 ]] || fail "the device made no faults: no request had to be repeated"
echo "demo: done; 2 tours, $repeated requests repeated because of faults, $comparisons comparisons"
