#!/usr/bin/env bash
# deb_chroot_test.sh BUILD_DIR: the Debian package on a clean Debian 12. Makes the packages
# with cpack, a minimal bookworm chroot with debootstrap (some minutes; needs root and the
# Debian mirror, TV_DEBIAN_MIRROR to use another), installs tonvale_*.deb there with
# `apt-get install ./...`, converts the bundled sample with /usr/bin/travex and shows
# `man travex`. Too slow for the test command: run it by hand before a release.
set -euo pipefail
build=$(cd "$1" && pwd)
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
mirror=${TV_DEBIAN_MIRROR:-http://deb.debian.org/debian}
work=$(mktemp -d)
chroot_dir=$work/chroot
cleanup() {
  umount "$chroot_dir/proc" 2>/dev/null || true
  rm -rf --one-file-system "$work"
}
trap cleanup EXIT

echo "== cpack"
(cd "$work" && cpack --config "$build/CPackConfig.cmake" -B "$work/pkg" >"$work/cpack.log" 2>&1)
deb=$(basename "$(ls "$work"/pkg/tonvale_*_amd64.deb)")
echo "== debootstrap bookworm from $mirror"
debootstrap --variant=minbase bookworm "$chroot_dir" "$mirror" >"$work/debootstrap.log" 2>&1 ||
  { tail -n 20 "$work/debootstrap.log"; exit 1; }
cp "$work/pkg/$deb" "$root/samples/sample.flac" "$chroot_dir/tmp/"
mount -t proc proc "$chroot_dir/proc"
in_chroot() { chroot "$chroot_dir" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root LANG=C.UTF-8 "$@"; }

echo "== apt-get install ./$deb"
in_chroot apt-get update -qq
in_chroot sh -c "cd /tmp && DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends ./$deb man-db" \
  >"$work/apt.log" 2>&1 || { tail -n 30 "$work/apt.log"; exit 1; }
grep -E '^(Setting up|Unpacking) tonvale' "$work/apt.log" || true

echo "== /usr/bin/travex converts the sample"
in_chroot travex -infile=/tmp/sample.flac -outfile=/tmp/sample.mp3 -convert_to=mp3 -V 2 |
  iconv -f UTF-16LE -t UTF-8
in_chroot tvinfo /tmp/sample.mp3 | sed -n '/^File:/p;/^Decoder:/p;/^Length:/p'

echo "== man travex"
in_chroot sh -c 'MANWIDTH=80 man travex 2>/dev/null | head -n 12'
