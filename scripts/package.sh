#!/usr/bin/env bash
# Builds the Debian packages into build/package and judges them: lintian, the size of the libraries, what they
# export, links of the pages, and the consumers of tests/consumer, built with what the packages install.
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
    if [[ $size -ge 500000 ]]; then
        echo "package: 500,000 or more" >&2
        exit 1
    fi
done

echo "package: links of the pages"
pages=$directory/root/usr/share/doc/korvinpackage-doc
python3 tests/docs/links_test.py --within "$directory/root/usr/share" "$pages"/*.md "$pages"/docs/*.md

echo "package: consumers of the installed files"
# Libraries of packages have no run path: they are in a folder that the loader knows.
LD_LIBRARY_PATH=$(echo "$directory"/root/usr/lib/*-linux-gnu) tests/consumer/installed.sh "$directory/root/usr"

# The number of lines to compile is the same at each run; the time is not.
read -ra flags < <(PKG_CONFIG_PATH=$(echo "$directory"/root/usr/lib/*-linux-gnu/pkgconfig) \
    pkg-config --cflags korvinpackage)
echo "#include <QtCore/QObject>" >"$directory/qobject.cpp"
declare -A lines
for source in tests/consumer/minimal.cpp "$directory/qobject.cpp"; do
    lines[$source]=$(g++ -std=c++17 -fPIC "${flags[@]}" -E "$source" | wc -l)
    TIMEFORMAT="package: $(basename "$source") has ${lines[$source]} lines to compile, which take %U s"
    time g++ -std=c++17 -fPIC "${flags[@]}" -c "$source" -o "$directory/minimal.o"
done
most=$((${lines[$directory/qobject.cpp]} * 11 / 10))
if [[ ${lines[tests/consumer/minimal.cpp]} -gt $most ]]; then
    echo "package: a user of one class compiles more than 1.1 times what QObject is" >&2
    exit 1
fi
packages=("$directory"/*.deb)
ls -l "${packages[@]}"
echo "package: ${#packages[@]} packages"
