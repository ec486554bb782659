#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds Tonvale and runs the main job on the bundled default.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
"$here/deps.sh"
"$here/configure.sh" "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$root/build"
bin="$root/build/bin"
# The main job: travex converts the bundled sample, WAV to WAV, and tvinfo shows the result.
# Redirected, travex writes UTF-16LE; iconv makes it readable.
out=$(mktemp -d)
status=0
"$bin/travex" -infile="$root/samples/tone.wav" -outfile="$out/tone.wav" -convert_to=wave \
    2>"$out/errors.txt" | iconv -f UTF-16LE -t UTF-8 || status=$?
[[ -s "$out/errors.txt" ]] && iconv -f UTF-16LE -t UTF-8 "$out/errors.txt" >&2
echo "travex exited with status $status"
"$bin/tvinfo" "$out/tone.wav" || true
rm -rf "$out"
