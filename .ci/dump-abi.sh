#!/usr/bin/env bash
# Writes down what programs rely on of the libraries, as the preset dev has built them, for
# .ci/check-abi.sh to compare:
#   NAME.abi        the symbols, and all that can be reached from what they take and give
#   NAME.types.abi  every type that the headers define: one that only templates hold cannot be reached
#
# Usage: dump-abi.sh FOLDER [LIBRARY.so INCLUDE [FLAG...]]
#   LIBRARY.so INCLUDE  another library, and the folder of its headers
#   FLAG                for the compiler of the headers
set -euo pipefail
folder=$(realpath "$1")
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Writes C++ with a function for each type of the headers in a folder, which takes it.
uses_of_types() {
    python3 - "$1" <<'END'
import re
import sys
from pathlib import Path

SCOPE = re.compile(r"\bnamespace (?P<namespace>\w+)\s*\{"
                   r"|\b(?:class|struct|union|enum(?: class| struct)?)\s+(?:[A-Z]+_EXPORT\s+)?"
                   r"(?P<type>\w+)(?:\s+final)?\s*(?::[^;{}()]*)?\{"
                   r"|(?P<other>\{)|(?P<end>\})")
COMMENT = re.compile(r"//[^\n]*|/\*.*?\*/|^[ \t]*#(?:\\\n|[^\n])*", re.DOTALL | re.MULTILINE)

types = []
for header in sorted(Path(sys.argv[1]).rglob("*.h")):
    print(f"#include <{header.relative_to(sys.argv[1])}>")
    scopes = []
    for found in SCOPE.finditer(COMMENT.sub("", header.read_text(encoding="utf-8"))):
        if found["end"]:
            scopes.pop()
            continue
        scopes.append(found["namespace"] or found["type"])
        if found["type"]:
            types.append("::".join(scopes))
if not types:
    sys.exit(f"dump-abi: the headers of {sys.argv[1]} define no type")
for name in types:
    symbol = "type_" + name.replace("::", "_")
    print(f'extern "C" __attribute__((visibility("default"))) void {symbol}({name} *) {{}}')
    print(f"static_assert(sizeof({name}) > 0);")
END
}

dump() {
    local library=$1 include=$2 name
    name=$(basename "$library" .so)
    local options=(--headers-dir "$include" --drop-private-types --exported-interfaces-only
        --no-comp-dir-path --no-corpus-path --no-show-locs)
    abidw "${options[@]}" --out-file "$folder/$name.abi" "$library"
    uses_of_types "$include" >"$work/types.cpp"
    # Private classes of public ones have a layout, too, and so have those that are compiled elsewhere.
    (cd "$work" && g++ -std=c++17 -g -fPIC -shared -fno-access-control -femit-class-debug-always \
        "-I$include" "${@:3}" -o types.so types.cpp)
    abidw "${options[@]}" --out-file "$folder/$name.types.abi" "$work/types.so"
}

if [[ $# -gt 1 ]]; then
    dump "$(realpath "$2")" "$(realpath "$3")" "${@:4}"
    exit 0
fi
cd "$(dirname "$0")/.."
read -ra flags < <(pkg-config --cflags Qt5Core)
flags+=("-I$PWD/korvinpackage/include" "-I$PWD/korvininspect/include")
for library in korvin*/; do
    library=${library%/}
    dump "$PWD/build/dev/$library/lib$library.so" "$PWD/$library/include" "${flags[@]}"
done
sed -i "s|$PWD/||g" "$folder"/*.abi
