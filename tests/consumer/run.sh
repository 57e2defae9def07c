#!/usr/bin/env bash
# Installs a build tree, moves what was installed, and builds and runs the consumer against it by
# CMake and by pkg-config; then builds it with the source tree as a subdirectory.
#
# Usage: run.sh SOURCE BUILD
set -euo pipefail
source=$1
build=$2
consumer=$source/tests/consumer
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/installed" >"$work/log"
mv "$work/installed" "$work/moved"
pkgconfig=$(dirname "$(find "$work/moved" -name korvinpackage.pc)")

echo "find_package:"
cmake -S "$consumer" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$work/moved" >>"$work/log"
cmake --build "$work/cmake" >>"$work/log"
"$work/cmake/consumer"
"$work/cmake/inspecting_consumer"
"$work/cmake/simulating_consumer"

echo "pkg-config:"
mkdir "$work/make"
PKG_CONFIG_PATH=$pkgconfig make -C "$work/make" -f "$consumer/Makefile" \
    SOURCE="$consumer" >>"$work/log"
export LD_LIBRARY_PATH=$(dirname "$pkgconfig")
"$work/make/consumer"
"$work/make/inspecting_consumer"
"$work/make/simulating_consumer"
unset LD_LIBRARY_PATH

echo "add_subdirectory, static:"
cmake -S "$consumer" -B "$work/subdirectory" -DKORVINPACKAGE_SOURCE="$source" \
    -DBUILD_SHARED_LIBS=OFF >>"$work/log"
cmake --build "$work/subdirectory" >>"$work/log"
"$work/subdirectory/consumer"
"$work/subdirectory/inspecting_consumer"
"$work/subdirectory/simulating_consumer"
