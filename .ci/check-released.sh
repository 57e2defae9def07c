#!/usr/bin/env bash
# Fails where a released frame or record was changed, removed or renamed: the files of
# tests/data/released are those that SHA256SUMS lists, and a line that it once had it still has.
set -euo pipefail
cd "$(dirname "$0")/../tests/data/released"

sha256sum --check --strict --quiet SHA256SUMS
listed=$(cut -c67- SHA256SUMS | LC_ALL=C sort)
present=$(find . -type f ! -path ./SHA256SUMS -printf '%P\n' | LC_ALL=C sort)
if [[ $listed != "$present" ]]; then
    echo "check-released: what is there is not what SHA256SUMS lists:" >&2
    diff <(echo "$listed") <(echo "$present") >&2 || true
    exit 1
fi

# A sum cannot be changed together with its file. Without a history there is nothing to compare with.
if git rev-parse --verify --quiet HEAD >/dev/null; then
    removed=$( (git log --format= --patch -m --unified=0 -- SHA256SUMS
        git diff --unified=0 HEAD -- SHA256SUMS) | grep -E '^-[0-9a-f]{64} ' | cut -c2- |
        grep -vxFf SHA256SUMS || true)
    if [[ -n $removed ]]; then
        echo "check-released: released files were changed or removed:" >&2
        echo "$removed" | cut -c67- >&2
        exit 1
    fi
fi
echo "check-released: $(wc -l <SHA256SUMS) files as they were released"
