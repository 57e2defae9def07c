#!/usr/bin/env bash
# Fails where a frame, record or ABI of a release was changed, removed or renamed: the files of
# tests/data/released are those that SHA256SUMS lists, and a line that it once had it still has.
#
# What it once had is in the history. A version whose tag is there, such as v0.1, is compared with its tag; the
# one that is not released yet, with every commit, except those whose subject is "Freeze VERSION anew". Fails
# where neither is there, as in a shallow clone.
#
# Usage: check-released.sh [SUMS]
#   SUMS  a SHA256SUMS from elsewhere, such as from a release's archive, to compare with instead
set -euo pipefail
sums=${1:+$(realpath "$1")}
cd "$(dirname "$0")/../tests/data/released"

fail() {
    printf 'check-released: %s\n' "$@" >&2
    exit 1
}

# Fails where one of the LINES is not among the sums any more.
must_have() {
    local missing
    missing=$(grep -vxFf SHA256SUMS <<<"$2" | cut -c67- || true)
    [[ -z $missing ]] || fail "released files were changed or removed since $1:" "$missing"
}

# Fails where a commit has removed a line of a VERSION that has no tag.
must_have_history() {
    local version=$1 root removed
    if [[ $(git rev-parse --is-shallow-repository) != false ]]; then
        fail "the clone is shallow, so nobody knows how the files of $version were: fetch with --unshallow," \
            "or give the sums"
    fi
    root=$(git log --max-parents=0 --format=%h -- SHA256SUMS | tail -n 1)
    if [[ -n $root ]]; then
        fail "the history begins with the files of $version in $root, so nobody knows how they were before:" \
            "use a clone with the whole history, or give the sums"
    fi
    removed=$( (git log --format= --full-history --patch --cc --unified=0 --invert-grep \
        --grep="^Freeze $version anew" -- SHA256SUMS
    git diff --unified=0 HEAD -- SHA256SUMS) | grep -E "^-+[0-9a-f]{64}  $version/" | sed 's/^-*//' || true)
    must_have "they were frozen" "$removed"
}

sha256sum --check --strict --quiet SHA256SUMS || fail "files differ from their sums"
listed=$(cut -c67- SHA256SUMS | LC_ALL=C sort)
present=$(find . -type f ! -path ./SHA256SUMS -printf '%P\n' | LC_ALL=C sort)
if [[ $listed != "$present" ]]; then
    diff <(echo "$listed") <(echo "$present") >&2 || true
    fail "what is there is not what SHA256SUMS lists"
fi

if [[ -n $sums ]]; then
    must_have "$1" "$(cat "$sums")"
    echo "check-released: $(wc -l <SHA256SUMS) files as in $1"
    exit 0
fi
git rev-parse --verify --quiet HEAD >/dev/null || fail "there is no history to compare with; give the sums"
current=$(sed -nE 's/^ *VERSION ([0-9]+\.[0-9]+).*/\1/p' ../../../CMakeLists.txt | head -n 1)
for tag in $(git tag --list 'v[0-9]*'); do
    released=$(git show "$tag:./SHA256SUMS")
    must_have "$tag" "$released"
done
for version in *.*/; do
    version=${version%/}
    git rev-parse --verify --quiet "refs/tags/v$version" >/dev/null && continue
    [[ $version == "$current" ]] || fail "the tag v$version is missing: fetch with --tags, or give the sums"
    must_have_history "$version"
    echo "check-released: $version is not released yet"
done
echo "check-released: $(wc -l <SHA256SUMS) files as they were frozen"
