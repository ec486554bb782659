#!/usr/bin/env bash
# What the host's tag write costs: a 10-minute 44.1 kHz stereo FLAC with tags and a 600x600 JPEG
# cover converted to FLAC, MP3, Ogg Vorbis and Opus. For each: the bytes written to the output
# by the tag step (writes to the final name, after the encoder wrote its temporary), all bytes
# written, the output's size, and the median CPU time (user+sys) of whole runs.
#   bench/tag_write.sh [build folder, default build] [runs, default 3]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=bench/lib.sh
source "$root/bench/lib.sh"
build=${1:-$root/build}
runs=${2:-3}
bin=$(cd "$build/bin" && pwd)
[[ -x $bin/travex ]] || { echo "missing travex in $build/bin" >&2; exit 2; }
bench_need sox flac metaflac ffmpeg strace

bench_workspace
cd "$work"
sox -R -n -r 44100 -c 2 -b 16 src.wav synth 600 sine 100-3000 synth 600 pinknoise mix vol 0.4
ffmpeg -v error -f lavfi -i 'mandelbrot=size=600x600:rate=1' -frames:v 1 -q:v 2 cover.jpg
flac -s -o src.flac src.wav && rm src.wav
metaflac --set-tag=TITLE=Bench --set-tag=ARTIST=Tonvale --set-tag=ALBUM=Tags --set-tag=DATE=2026 \
    --set-tag=TRACKNUMBER=3 --import-picture-from=cover.jpg src.flac

median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2}'; }
sum_writes() { grep -E "^[0-9]+ +(write|pwrite64|writev|pwritev)\([0-9]+<$2" "$1" | sed -E 's/.*= ([0-9]+)$/\1/' |
    awk '{s+=$1} END {print s+0}'; }

echo "load average: $(cut -d' ' -f1-3 /proc/loadavg); cover $(stat -c %s cover.jpg) bytes"
printf '%-7s %12s %14s %14s %10s\n' format output tag-step all-writes cpu
for pair in flac:flac mp3:mp3 vorbis:ogg opus:opus; do
    enc=${pair%%:*} out=$work/out.${pair##*:}
    rm -f "$out"
    strace -f -y -e trace=write,pwrite64,writev,pwritev -o trace.txt \
        "$bin/travex" -infile=src.flac -outfile="$out" -convert_to=$enc -silent >/dev/null
    tag=$(sum_writes trace.txt "$out>") all=$(sum_writes trace.txt "$work/")
    cpu=()
    for ((i = 0; i < runs; i++)); do
        rm -f "$out"
        /usr/bin/time -f '%U %S' -o time.txt "$bin/travex" -infile=src.flac -outfile="$out" -convert_to=$enc \
            -silent >/dev/null
        cpu+=("$(awk '{print $1 + $2}' time.txt)")
    done
    printf '%-7s %12s %14s %14s %9ss\n' $enc "$(stat -c %s "$out")" "$tag" "$all" "$(median "${cpu[@]}")"
done
