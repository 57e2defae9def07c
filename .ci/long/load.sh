#!/usr/bin/env bash
# Installs what is missing, builds the programs of examples/loopback, and runs the load and fault tests in
# full: 200 clients, 100,000 requests through the proxy to 10 devices; injected faults; device and proxy
# killed meanwhile; garbage on every port.
set -euo pipefail
cd "$(dirname "$0")/../.."

scripts/setup.sh
echo "load: building"
cmake --preset release >/dev/null
cmake --build --preset release --target loopback_loadtest korvin-device korvin-proxy >/dev/null

build=build/release
loadtest() {
    "$build/tests/loopback_loadtest" "$build/examples/loopback/korvin-device" \
        "$build/examples/loopback/korvin-proxy" "$@" --clients 200 --devices 10 --deadline 300
}
loadtest load --requests 100000
loadtest faults --requests 20000 --timeout 500
loadtest restart --requests 50000
loadtest garbage
