#!/usr/bin/env bash
# Installs what is missing, builds the reference and all pages in HTML into build/docs/html, and tests them
# in a browser. A warning of Doxygen is an error, so every public class and operation is documented.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --docs
rm -rf build/docs
mkdir -p build
doxygen docs/Doxyfile >/dev/null
# Selenium is a package for Debian's own Python.
/usr/bin/python3 tests/docs/reference_test.py build/docs/html
echo "docs: $(find build/docs/html -name '*.html' | wc -l) pages, see build/docs/html/index.html"
