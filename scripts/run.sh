#!/usr/bin/env bash
# Sets up a fresh Debian 12 machine, builds Tonvale and runs the main job on the bundled default.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
"$here/deps.sh"
"$here/configure.sh" "$root/build" -DCMAKE_BUILD_TYPE=RelWithDebInfo
cmake --build "$root/build"
bin="$root/build/bin"
# The main job: travex converts the bundled FLAC sample (tags and a front cover) to MP3, Ogg
# Vorbis, Opus and WAV, and the WAV back to FLAC; tvinfo then shows that the tags and the picture
# came along. Redirected, travex writes UTF-16LE, which iconv turns into UTF-8 here.
out=$(mktemp -d)
trap 'rm -rf "$out"' EXIT
status=0
convert() {  # convert SOURCE OUTPUT ENCODER [ENCODER OPTIONS...]
  local src=$1 dst=$2 enc=$3 rc=0
  shift 3
  "$bin/travex" -infile="$src" -outfile="$dst" -convert_to="$enc" "$@" 2>"$out/errors.txt" \
      | iconv -f UTF-16LE -t UTF-8 || rc=$?
  [[ -s "$out/errors.txt" ]] && iconv -f UTF-16LE -t UTF-8 "$out/errors.txt" >&2
  echo "travex exited with status $rc"
  [[ $rc -eq 0 ]] || status=1
}
convert "$root/samples/sample.flac" "$out/sample.mp3" mp3 -V 2
convert "$root/samples/sample.flac" "$out/sample.ogg" vorbis -q 5
convert "$root/samples/sample.flac" "$out/sample.opus" opus --bitrate 128
convert "$root/samples/sample.flac" "$out/sample.wav" wave
convert "$out/sample.wav" "$out/sample.flac" flac -8
for f in sample.mp3 sample.ogg sample.opus sample.wav sample.flac; do
  echo
  "$bin/tvinfo" "$out/$f" | sed -n '/^File:/p;/^Length:/p;/^IDTags:/,$p'
done
exit $status
