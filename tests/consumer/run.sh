#!/usr/bin/env bash
# Installs a build tree, moves what was installed, and builds and runs the consumers against it; then
# builds them with the source tree as a subdirectory, and with the library's sources as their own.
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
echo "the installed program, with an empty environment:"
env -i "$work/moved/bin/korvinpack" explain "00 0500 00 05 00" | head -n 1
"$consumer/installed.sh" "$work/moved"

echo "add_subdirectory, static, many sources at once:"
cmake -S "$consumer" -B "$work/subdirectory" -DKORVINPACKAGE_SOURCE="$source" \
    -DBUILD_SHARED_LIBS=OFF -DCMAKE_UNITY_BUILD=ON >>"$work/log"
cmake --build "$work/subdirectory" --parallel "$(nproc)" >>"$work/log"
"$work/subdirectory/consumer"
"$work/subdirectory/inspecting_consumer"
"$work/subdirectory/exchanging_consumer"
"$work/subdirectory/simulating_consumer"

major=$(sed -n 's/^KORVINPACKAGE_QT_MAJOR:STRING=//p' "$build/CMakeCache.txt")
echo "sources named one by one, all sources:"
cmake -S "$consumer/sources" -B "$work/sources" -DKORVINPACKAGE_SOURCE="$source" -DQT_MAJOR="$major" \
    >>"$work/log"
cmake --build "$work/sources" --parallel "$(nproc)" >>"$work/log"
"$work/sources/listed"
"$work/sources/matching"

qmake=qmake
[[ $major == 6 ]] && qmake=qmake6
echo "sources with $qmake:"
mkdir "$work/qmake"
cd "$work/qmake"
"$qmake" "$consumer/sources/sources.pro" LIBRARY="$source/korvinpackage" >>"$work/log" 2>&1
make -j "$(nproc)" >>"$work/log" 2>&1
./sources
