#!/usr/bin/env bash
# Builds and runs the consumers against what is installed in PREFIX: with CMake, with make and pkg-config,
# and with qmake.
#
# Usage: installed.sh PREFIX
set -euo pipefail
prefix=$(realpath "$1")
consumer=$(dirname "$(realpath "$0")")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
pkgconfig=$(dirname "$(find "$prefix" -name korvinpackage.pc)")

run() {
    "$1/consumer"
    "$1/inspecting_consumer"
    "$1/exchanging_consumer"
    "$1/simulating_consumer"
}

echo "find_package:"
cmake -S "$consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" >"$work/log"
cmake --build "$work/cmake" --parallel "$(nproc)" >>"$work/log"
run "$work/cmake"

if [[ -f $pkgconfig/../libkorvinpackage.a && -f $pkgconfig/../libkorvinpackage.so ]]; then
    echo "find_package, static:"
    cmake -S "$consumer" -B "$work/static" -DCMAKE_PREFIX_PATH="$prefix" \
        -DKorvinPackage_USE_STATIC_LIBS=ON >>"$work/log"
    cmake --build "$work/static" --parallel "$(nproc)" >>"$work/log"
    run "$work/static"
    if ldd "$work/static/exchanging_consumer" "$work/static/simulating_consumer" | grep "libkorvin"; then
        echo "a static consumer needs a shared library" >&2
        exit 1
    fi
fi

export PKG_CONFIG_PATH=$pkgconfig
echo "pkg-config:"
mkdir "$work/make"
make -j "$(nproc)" -C "$work/make" -f "$consumer/Makefile" SOURCE="$consumer" >>"$work/log"
run "$work/make"

qmake=qmake
grep -q Qt6 "$pkgconfig/korvinpackage.pc" && qmake=qmake6
echo "$qmake:"
mkdir "$work/qmake"
built_by_qmake() {
    cd "$work/qmake"
    "$qmake" -o "Makefile.$1" "$consumer/consumer.pro" PROGRAM="$1" SOURCE="$consumer/$2" LIBRARY="$3"
    make -f "Makefile.$1"
}
{
    (built_by_qmake consumer main.cpp korvinpackage)
    (built_by_qmake inspecting_consumer inspecting.cpp korvininspect)
    (built_by_qmake simulating_consumer simulating.cpp korvinsimulator)
    (built_by_qmake exchanging_consumer exchanging.cpp korvinexchange)
} >>"$work/log" 2>&1
run "$work/qmake"
