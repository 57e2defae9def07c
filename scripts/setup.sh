#!/usr/bin/env bash
# Installs what is missing to build the libraries, korvinpack and the examples.
#
# Usage: setup.sh [--tests | --docs | --packages | --ci | --benchmarks | --peers]
#   --tests       also what the tests need: GoogleTest, tshark, which runs the dissector, valgrind, which
#                 counts instructions, shells that complete, and what builds and tests the Python
#                 package; without a browser, the test that needs one is skipped
#   --docs        also what .ci/docs.sh needs, with a browser
#   --packages    also what scripts/package.sh and .ci/package-trial.sh need
#   --ci          also what the checks of .ci/run need
#   --benchmarks  also what measures the codecs
#   --peers       the same, and the libraries that are measured beside this one
set -euo pipefail

packages=(cmake g++ make ninja-build pkg-config python3 qtbase5-dev)
if [[ ${1:-} == --tests || ${1:-} == --ci ]]; then
    packages+=(bsdutils fish libgtest-dev tshark valgrind zsh)
    packages+=(mypy pybind11-dev python3-coverage python3-dev python3-hypothesis python3-jsonschema
        python3-pytest python3-pytest-asyncio python3-serial)
fi
if [[ ${1:-} == --docs || ${1:-} == --ci ]]; then
    packages+=(chromium chromium-driver python3-pil python3-selenium)
fi
if [[ ${1:-} == --docs || ${1:-} == --packages || ${1:-} == --ci ]]; then
    packages+=(doxygen graphviz)
fi
if [[ ${1:-} == --packages || ${1:-} == --ci ]]; then
    packages+=(dh-python lintian mmdebstrap pybind11-dev python3-dev)
fi
if [[ ${1:-} =~ ^--(packages|ci|benchmarks|peers)$ ]]; then
    packages+=(debhelper dpkg-dev)
fi
if [[ ${1:-} == --ci ]]; then
    packages+=(abigail-tools clang clang-format clang-tidy libclang-rt-dev llvm locales qt6-base-dev shellcheck)
fi
if [[ ${1:-} == --ci || ${1:-} == --benchmarks || ${1:-} == --peers ]]; then
    packages+=(libbenchmark-dev valgrind)
fi
if [[ ${1:-} == --peers ]]; then
    packages+=(flatbuffers-compiler libflatbuffers-dev libfmt-dev libmsgpack-cxx-dev libnanopb-dev
        libprotobuf-dev libqt5serialbus5-dev nanopb protobuf-compiler)
    packages+=(pybind11-dev python3-dev python3-pymodbus python3-scapy)
fi

if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
    echo "setup: this is not a Debian system; install what these Debian packages hold:" >&2
    echo "setup:   ${packages[*]}" >&2
    echo "setup: then build with: cmake --preset release && cmake --build --preset release" >&2
    exit 1
fi

missing=()
for package in "${packages[@]}"; do
    [[ $(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null) == installed ]] \
        || missing+=("$package")
done
if [[ ${#missing[@]} -eq 0 ]]; then
    echo "setup: all ${#packages[@]} packages are installed"
    exit 0
fi

as_root=()
if [[ $EUID -ne 0 ]]; then
    if ! command -v sudo >/dev/null; then
        echo "setup: sudo is missing; as root, install: ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi
echo "setup: installing ${missing[*]}"
apt() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C \
        apt-get -qq -o DPkg::Lock::Timeout="$patience" "$@" </dev/null 2>&1 >/dev/null
}
patience=600 # seconds that another apt may take; "apt-get update" does not wait by itself
until complaint=$(apt update); do
    if [[ $complaint != *"Could not get lock"* || $SECONDS -gt $patience ]]; then
        echo "$complaint" >&2
        exit 1
    fi
    echo "setup: waiting for another apt"
    sleep 5
done
if ! complaint=$(apt install -y --no-install-recommends "${missing[@]}"); then
    echo "$complaint" >&2
    exit 1
fi
