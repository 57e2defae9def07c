#!/usr/bin/env bash
# Runs the load and fault tests of examples/loopback in full.
#
# 200 clients send 100,000 requests through the proxy to 10 devices, with 255 serial numbers on each link, which
# limit it to 2,550 requests a second, and with 65,535; devices make faults; device and proxy are killed
# meanwhile; every port gets garbage. At the end, the speed of a device is measured beside an echo server.
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/setup.sh --tests
echo "load: building"
cmake --preset ci >/dev/null
cmake --build --preset ci --target loopback_loadtest loopback_speedtest korvin-device korvin-proxy >/dev/null

build=build/ci
loadtest() {
    "$build/tests/loopback_loadtest" "$build/tools/korvin-device" \
        "$build/examples/loopback/korvin-proxy" "$@" --clients 200 --devices 10 --deadline 300
}
loadtest load --requests 100000
loadtest load --requests 100000 --serial-numbers 65535
loadtest faults --requests 20000 --timeout 500
loadtest restart --requests 50000
loadtest garbage
"$build/tests/loopback_speedtest" "$build/tools/korvin-device"
echo "load: 6 tests pass"
