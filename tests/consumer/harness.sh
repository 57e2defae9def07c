#!/usr/bin/env bash
# Builds libraries and program from a copy of the tree with another project's tests/, installs them in a folder
# for one machine architecture, and runs the program; builds them without tests/; and checks the flags that a
# compiler of another kind would get.
#
# Usage: harness.sh SOURCE
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/source/tests"
tar -C "$1" --exclude=./build --exclude=./.git --exclude=./tests -c . | tar -C "$work/source" -x

configure() {
    cmake -S "$work/source" -B "$work/$1" -DCMAKE_BUILD_TYPE=Release -DCMAKE_UNITY_BUILD=ON "${@:2}" >>"$work/log"
}
build() {
    cmake --build "$work/build" --parallel "$(nproc)" --target korvin-device korvinexchange korvinpack korvinsimulator "$@" >>"$work/log"
}

echo "another project's tests:"
cp "$1/tests/consumer/main.cpp" "$work/source/tests"
cat >"$work/source/tests/CMakeLists.txt" <<'END'
add_executable(their_tests main.cpp)
target_link_libraries(their_tests PRIVATE korvinpackage)
add_test(NAME their_tests COMMAND their_tests)
END
configure build -DCMAKE_INSTALL_LIBDIR=lib/any-machine
build their_tests
ctest --test-dir "$work/build" -R their_tests --no-tests=error | grep Passed
cmake --install "$work/build" --prefix "$work/prefix" >>"$work/log"
env -i "$work/prefix/bin/korvinpack" explain "00 0500 00 05 00" | head -n 1

echo "no tests:"
rm -r "$work/source/tests"
configure build
build

echo "a compiler of another kind:"
printf 'set(%s)\n' "CMAKE_CXX_COMPILER_ID MSVC" "MSVC ON" >"$work/kind.cmake"
configure other -DCMAKE_PROJECT_INCLUDE="$work/kind.cmake" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
grep -o -- ' /W4 ' "$work/other/compile_commands.json" | sort | uniq -c
if grep -oE -- ' -(W|O[0-2s])[^ ]*' "$work/other/compile_commands.json" | sort | uniq -c; then
    exit 1
fi
