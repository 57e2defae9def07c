#!/usr/bin/env bash
# Builds the Debian packages into build/package, and looks at them: lintian, the size of the libraries,
# what they export, and the consumers of tests/consumer against what the packages install, in another place.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --packages
directory=$PWD/build/package
rm -rf "$directory"
mkdir -p "$directory/source"
git ls-files -z | xargs -0 cp --parents -t "$directory/source"

echo "package: building"
# Symbols that are not in debian/*.symbols, and missing ones, fail here.
(cd "$directory/source" && dpkg-buildpackage -us -uc -b) >"$directory/log" 2>&1 \
    || { tail -n 60 "$directory/log" >&2; exit 1; }

echo "package: lintian"
lintian --fail-on error \
    --suppress-tags bad-distribution-in-changes-file,initial-upload-closes-no-bugs "$directory"/*.changes

for package in "$directory"/*.deb; do
    dpkg-deb -x "$package" "$directory/root"
done
for library in "$directory"/root/usr/lib/*/lib*.so.*.*; do
    size=$(stat --format=%s "$library")
    echo "package: $(basename "$library") has $size bytes"
    if [[ $size -ge 300000 ]]; then
        echo "package: more than 300,000" >&2
        exit 1
    fi
done

echo "package: consumers of what is installed"
LD_LIBRARY_PATH=$(echo "$directory"/root/usr/lib/*-linux-gnu) \
    tests/consumer/installed.sh "$directory/root/usr"

# The best of some runs, in milliseconds.
compile_time() {
    local best=999999 start taken
    for _ in 1 2 3 4 5; do
        start=$(date +%s%N)
        g++ -std=c++17 -fPIC "${flags[@]}" -c "$1" -o "$directory/minimal.o"
        taken=$((($(date +%s%N) - start) / 1000000))
        best=$((taken < best ? taken : best))
    done
    echo "$best"
}
read -ra flags < <(PKG_CONFIG_PATH=$(echo "$directory"/root/usr/lib/*-linux-gnu/pkgconfig) \
    pkg-config --cflags korvinpackage)
library=$(compile_time tests/consumer/minimal.cpp)
echo "#include <QtCore/QObject>" >"$directory/qobject.cpp"
qt=$(compile_time "$directory/qobject.cpp")
echo "package: a minimal consumer compiles in $library ms, an include of QObject alone in $qt ms"
# How fast the machine is just now, nobody knows.
if [[ $((library * 10)) -gt $((qt * 12)) ]]; then
    echo "package: more than 1.2 times as much" >&2
    exit 1
fi
ls -l "$directory"/*.deb
