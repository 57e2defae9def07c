#!/usr/bin/env bash
# Runs the tests of the Python package under address and undefined-behaviour sanitizers: hypothesis calls
# every class, form and operation with all that Python can pass.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --tests
build=$PWD/build/python-sanitized
cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Debug -DCMAKE_CXX_FLAGS_DEBUG="-g1 -O1" \
    -DCMAKE_UNITY_BUILD=ON -DKORVINPACKAGE_SANITIZE=address,undefined -DKORVINPACKAGE_BUILD_PYTHON=ON \
    -DKORVINPACKAGE_BUILD_TOOLS=OFF -DKORVINPACKAGE_BUILD_EXAMPLES=OFF -DKORVINPACKAGE_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target korvinpackage_python
# Python itself has no sanitizers, so theirs must be loaded first; and it keeps memory until it ends.
preload=$(g++ -print-file-name=libasan.so):$(g++ -print-file-name=libubsan.so)
cd "$build"
LC_ALL=C.UTF-8 LD_PRELOAD=$preload ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1 \
    PYTHONMALLOC=malloc PYTHONPATH=$build/python/package KORVINPACKAGE_SOURCE=$OLDPWD \
    /usr/bin/python3 -P -m pytest -q -rs "$OLDPWD/python/tests" --deselect "tests/test_types.py::test_mypy"
echo "python-sanitized: no fault"
