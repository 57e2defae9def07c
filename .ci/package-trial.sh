#!/usr/bin/env bash
# Tries the packages of build/package as a new user would: installs them on a bare Debian 12, follows the start
# pages, builds the consumers, uninstalls them, and fails where a file is left. Needs root and Debian's package
# server.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/setup.sh --packages
root=$PWD/build/package/bare
rm -rf "$root"
echo "trial: a bare Debian 12"
mmdebstrap --quiet --variant=apt bookworm "$root" http://deb.debian.org/debian
cp /etc/resolv.conf "$root/etc/"
mkdir "$root/trial"
cp build/package/*.deb "$root/trial"
git ls-files -z tests/consumer tests/docs/pages_test.py tests/docs/links_test.py \
    | xargs -0 cp --parents -t "$root/trial"

inside() {
    chroot "$root" env -i PATH=/usr/bin:/bin:/usr/sbin:/sbin HOME=/root LC_ALL=C.UTF-8 \
        DEBIAN_FRONTEND=noninteractive bash -euc "cd /trial; $1" </dev/null
}

echo "trial: install"
inside "apt-get update -qq
    apt-get install -qq -y ./*.deb g++ cmake make pkg-config python3 python3-pytest tshark >/dev/null"
echo "trial: start pages"
inside "cd /usr/share/doc/korvinpackage-doc
    python3 /trial/tests/docs/pages_test.py README.md docs/start-*.md
    python3 /trial/tests/docs/links_test.py --within /usr/share ./*.md docs/*.md"
echo "trial: consumers"
inside "tests/consumer/installed.sh /usr"
echo "trial: uninstall"
inside "apt-get purge -qq -y '.*korvin.*' >/dev/null"
left=$(find "$root" \( -path "$root/trial" -o -path "$root/var/cache/apt" \) -prune -o -iname '*korvin*' -print)
if [[ -n $left ]]; then
    echo "trial: not removed: $left" >&2
    exit 1
fi
echo "trial: $(find "$root/trial" -name '*.deb' | wc -l) packages installed, tried and removed without a trace"
