#!/usr/bin/env bash
# Builds and tests with other compilers, build types, kinds of library, machines and locales.
#
# Both compilers, both build types and both kinds of library; users with other flags; a 32-bit and a big-endian
# machine; the tests of the codecs in other locales; LLVM's standard library; and a compiler for Windows, which
# only looks at the sources.
#
# What a cell prints is in build/matrix/CELL.log; of one that fails, its end is shown.
#
# Usage: matrix.sh [CELL...]
#   CELL  COMPILER-TYPE-KIND, such as clang++-Debug-static, or arm64, consumer, i386, libc++, locales, mingw, s390x
set -euo pipefail
cd "$(dirname "$0")/../.."

root=build/matrix
suites=(korvinpackage_tests korvininspect_tests korvinsimulator_tests korvinexchange_tests)
# Not in an emulator: what takes an hour there and looks at the same code as others do, and what starts tshark.
quick='-Explain.AgreesWithTheDecodersOnGeneratedInput:EngineSimulation.*:Engine/Orders.*'
quick+=:EngineTest.ItsTraceIsReadByTheDissector
replays=(bytetools combination frame inspect linuxframe record)

cells=(consumer libc++ locales mingw arm64 i386 s390x)
for compiler in g++ clang++; do
    for type in Debug Release; do
        cells+=("$compiler-$type-shared" "$compiler-$type-static")
    done
done
if [[ $# -gt 0 ]]; then
    cells=("$@")
fi

need() {
    local missing=()
    for package in "$@"; do
        dpkg-query --show --showformat='${db:Status-Status}\n' "$package" 2>/dev/null \
            | grep -qx installed || missing+=("$package")
    done
    [[ ${#missing[@]} -eq 0 ]] && return
    DEBIAN_FRONTEND=noninteractive apt-get install -qq -y --no-install-recommends "${missing[@]}" \
        </dev/null >/dev/null
}

# Builds the CELL with these OPTIONS for CMake, and tests it.
tested() {
    local build=$root/$1
    cmake -S . -B "$build" -G Ninja -DKORVINPACKAGE_WERROR=ON "${@:2}"
    cmake --build "$build"
    ctest --test-dir "$build" --label-exclude outside --no-tests=error --output-on-failure -j "$(nproc)"
}

native() {
    local compiler type kind shared=ON
    IFS=- read -r compiler type kind <<<"$1"
    [[ $kind == static ]] && shared=OFF
    tested "$1" -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_BUILD_TYPE="$type" -DBUILD_SHARED_LIBS="$shared"
}

# LLVM's standard library. Qt has none of it in its interface, GoogleTest does and is built with it.
libcxx() {
    need googletest libc++-dev libc++abi-dev
    local prefix=$PWD/$root/googletest
    local options=(-DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-stdlib=libc++ -DCMAKE_BUILD_TYPE=Debug)
    cmake -S /usr/src/googletest -B "$prefix/build" "${options[@]}" -DBUILD_GMOCK=OFF
    cmake --build "$prefix/build"
    cmake --install "$prefix/build" --prefix "$prefix"
    tested libc++ "${options[@]}" -DGTest_DIR="$prefix/lib/cmake/GTest"
}

# Whether libraries and program compile for Windows. Debian has no Qt for it: the headers are those for this
# machine, which look at the compiler for what differs. So nothing can be linked or run.
mingw() {
    need g++-mingw-w64-x86-64-posix
    local options folder
    read -ra options < <(pkg-config --cflags Qt5Core | sed 's/-I/-isystem /g')
    options+=(-std=c++17 -Wall -Wextra -Wpedantic -Wconversion -Werror -Iconformance)
    for folder in korvin*; do
        options+=("-I$folder" "-I$folder/include")
    done
    for folder in korvin* tools; do
        x86_64-w64-mingw32-g++-posix -fsyntax-only "${options[@]}" -D"${folder^^}_LIBRARY" "$folder"/*.cpp
        echo "mingw: $folder: $(printf '%s\n' "$folder"/*.cpp | wc -l) sources compile"
    done
    # What korvinpack has of the kit.
    x86_64-w64-mingw32-g++-posix -fsyntax-only "${options[@]}" \
        conformance/{codecjudge,codecprogram,devicejudge,deviceport,testreport}.cpp
}

# Users of the libraries with strict Qt defines; those that only link have no exceptions either.
consumer() {
    cmake --preset dev
    cmake --build --preset dev
    local strict=(-DQT_NO_CAST_FROM_ASCII -DQT_NO_CAST_TO_ASCII -DQT_NO_CAST_FROM_BYTEARRAY
        -DQT_NO_URL_CAST_FROM_STRING -DQT_NO_KEYWORDS -DQT_NO_FOREACH -DQT_STRICT_ITERATORS
        -DQT_USE_QSTRINGBUILDER)
    for compiler in g++ clang++; do
        CXX="$compiler ${strict[*]}" tests/consumer/run.sh "$PWD" "$PWD/build/dev"
    done
}

locales() {
    cmake --preset dev
    cmake --build --preset dev
    .ci/locales.sh
}

# Cross-compiles against Debian's packages for ARCHITECTURE, and runs the tests in an emulator. These
# packages are only unpacked; Qt's code generators are those of this machine.
emulated() {
    local architecture=$1 triplet=$2 compiler=$3 emulator=$4
    need mmdebstrap qemu-user-static "g++-${compiler//_/-}"
    local sysroot=$PWD/$root/sysroot-$architecture build=$root/$architecture
    if [[ ! -d $sysroot ]]; then
        mmdebstrap --quiet --variant=extract --architectures="$architecture" \
            --include=libgtest-dev,qtbase5-dev bookworm "$sysroot" http://deb.debian.org/debian
        for tool in moc rcc; do
            ln -sf "/usr/lib/qt5/bin/$tool" "$sysroot/usr/lib/qt5/bin/$tool"
        done
    fi
    cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_SYSTEM_NAME=Linux \
        -DCMAKE_SYSTEM_PROCESSOR="$architecture" -DCMAKE_CXX_COMPILER="$compiler-g++" \
        -DCMAKE_SYSROOT="$sysroot" -DCMAKE_LIBRARY_ARCHITECTURE="$triplet" \
        -DCMAKE_FIND_ROOT_PATH="$sysroot" -DCMAKE_FIND_ROOT_PATH_MODE_PROGRAM=NEVER \
        -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY \
        -DCMAKE_FIND_ROOT_PATH_MODE_PACKAGE=ONLY \
        -DCMAKE_CROSSCOMPILING_EMULATOR="$emulator;-L;$sysroot" \
        -DKORVINPACKAGE_BUILD_EXAMPLES=OFF
    cmake --build "$build" --target "${suites[@]}" "${replays[@]/%/_replay}"
    for suite in "${suites[@]}"; do
        LC_ALL=C.UTF-8 "$emulator" -L "$sysroot" "$build/tests/$suite" --gtest_brief=1 --gtest_filter="$quick"
    done
    for target in "${replays[@]}"; do
        "$emulator" -L "$sysroot" "$build/fuzz/${target}_replay" "fuzz/corpus/$target"
    done
}

scripts/setup.sh --ci
mkdir -p "$root"
failed=()
for cell in "${cells[@]}"; do
    echo "=== $cell (${SECONDS} s)"
    case $cell in
    consumer | locales | mingw) run=("$cell") ;;
    libc++) run=(libcxx) ;;
    arm64) run=(emulated arm64 aarch64-linux-gnu aarch64-linux-gnu qemu-aarch64-static) ;;
    i386) run=(emulated i386 i386-linux-gnu i686-linux-gnu qemu-i386-static) ;;
    s390x) run=(emulated s390x s390x-linux-gnu s390x-linux-gnu qemu-s390x-static) ;;
    *) run=(native "$cell") ;;
    esac
    # Not in the condition itself, where set -e would be ignored.
    set +e
    (set -e; "${run[@]}") >"$root/$cell.log" 2>&1
    status=$?
    set -e
    if [[ $status -ne 0 ]]; then
        failed+=("$cell")
        tail -n 60 "$root/$cell.log"
        echo "matrix: $cell failed; all that it printed is in $root/$cell.log" >&2
    else
        grep -E '^100% tests passed|PASSED|inputs, 0 failed|sources compile|^consumer' "$root/$cell.log" || true
    fi
done
if [[ ${#failed[@]} -gt 0 ]]; then
    echo "matrix: failed: ${failed[*]}" >&2
    exit 1
fi
echo "matrix: ${#cells[@]} cells pass"
