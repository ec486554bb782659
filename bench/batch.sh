#!/usr/bin/env bash
# Whole-process timing of a library conversion: tvbatch turns COUNT FLAC files of SECONDS each
# into MP3 with one worker and with two, beside GNU parallel running flac | lame on the same
# files with one and two jobs, in the same run.
#   bench/batch.sh [build folder, default build] [files, default 200] [seconds each, default 60]
# Use a Release build. Needs sox, flac, lame and GNU parallel (scripts/packages.txt).
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=bench/lib.sh
source "$root/bench/lib.sh"
build=${1:-$root/build}
count=${2:-200}
seconds=${3:-60}
bin=$build/bin
for tool in tvbatch travex decoder/flac.so encoder/mp3.so; do
    [[ -e $bin/$tool ]] || { echo "missing $bin/$tool: build tvbatch, travex and the FLAC and MP3 plug-ins" >&2; exit 2; }
done
bench_need sox flac lame parallel

bench_workspace
mkdir -p "$work/lib"
# A copy of the programs, so that a rebuild during the long run can't pull them away.
cp -r "$bin" "$work/bin"
bin=$work/bin

# A tone with some noise, so that no encoder takes a shortcut; one source, copied.
sox -n -r 44100 -c 2 -b 16 "$work/one.wav" synth "$seconds" sine 440 synth "$seconds" whitenoise amod 0.1 0.9
flac -s -f -o "$work/one.flac" "$work/one.wav"
rm "$work/one.wav"
for ((i = 1; i <= count; i++)); do cp "$work/one.flac" "$work/lib/$(printf 'track%03d' $i).flac"; done

now() { date +%s%N; }
declare -A wall
measure() {
    local name=$1; shift
    rm -rf "$work/out"
    mkdir -p "$work/out"
    local start
    start=$(now)
    "$@" >/dev/null 2>&1 || echo "$name ended with status $?"
    wall[$name]=$(( $(now) - start ))
    printf '%-22s %8s s   (%d files)\n' "$name" "$(awk -v n="${wall[$name]}" 'BEGIN {printf "%.1f", n / 1e9}')" \
        "$(find "$work/out" -name '*.mp3' | wc -l)"
}
lamejob() { flac -dcs "$1" | lame --silent -V 4 - "$2"; }
export -f lamejob

echo "load average before: $(cut -d' ' -f1-3 /proc/loadavg)"
measure "tvbatch -j 1" "$bin/tvbatch" -convert_to=mp3 -V=4 -j 1 "$work/lib" -o "$work/out"
measure "parallel lame -j 1" parallel --will-cite -j 1 lamejob {} "$work/out/{/.}.mp3" ::: "$work"/lib/*.flac
measure "tvbatch -j 2" "$bin/tvbatch" -convert_to=mp3 -V=4 -j 2 "$work/lib" -o "$work/out"
measure "parallel lame -j 2" parallel --will-cite -j 2 lamejob {} "$work/out/{/.}.mp3" ::: "$work"/lib/*.flac
echo "load average after: $(cut -d' ' -f1-3 /proc/loadavg)"
ratio() { awk -v a="${wall[$1]}" -v b="${wall[$2]}" 'BEGIN {printf "%.3f", a / b}'; }
echo "tvbatch -j 2 / -j 1:            $(ratio 'tvbatch -j 2' 'tvbatch -j 1')   (target at most 0.55)"
echo "parallel lame -j 2 / -j 1:      $(ratio 'parallel lame -j 2' 'parallel lame -j 1')"
echo "tvbatch / parallel lame, -j 1:  $(ratio 'tvbatch -j 1' 'parallel lame -j 1')"
echo "tvbatch / parallel lame, -j 2:  $(ratio 'tvbatch -j 2' 'parallel lame -j 2')"
