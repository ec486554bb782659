#!/usr/bin/env bash
# Whole-process timing of a WAV to WAV conversion by travex, beside cp and sox on the same
# file, and travex's peak memory for a 1-minute and a 60-minute file.
#   bench/run.sh [build folder, default build] [runs per tool, default 7]
# Use a Release build. The settings store and named objects live in a temporary folder, where
# "vMXNoPreCache" is set so that travex reads its source once, like the others.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=bench/lib.sh
source "$root/bench/lib.sh"
build=${1:-$root/build}
runs=${2:-7}
bin=$build/bin
for tool in travex tvreg decoder/wave.so encoder/wave.so; do
    [[ -e $bin/$tool ]] || { echo "missing $bin/$tool: build travex, tvreg and the WAV plug-ins first" >&2; exit 2; }
done
bench_need sox

bench_workspace
"$bin/tvreg" ADD 'HKCU\Software\Brightmoor\Tonvale' /v vMXNoPreCache /t REG_DWORD /d 1 /f >/dev/null

# A tone with some noise, so that no tool can take a shortcut over silence.
tone() { sox -n -r 44100 -c 2 -b 16 "$2" synth "$1" sine 440 synth "$1" whitenoise amod 0.1 0.9; }
tone 600 "$work/ten.wav"

now() { date +%s%N; }
# Median of the arguments (nanoseconds).
median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : int((a[NR/2]+a[NR/2+1])/2)}'; }

declare -A result
measure() {
    local name=$1; shift
    local times=() start
    for ((i = 0; i < runs; i++)); do
        rm -f "$work/out.wav"
        start=$(now)
        "$@" >/dev/null 2>&1
        times+=($(( $(now) - start )))
    done
    result[$name]=$(median "${times[@]}")
}

# One untimed pass of each warms the page cache for all alike.
cat "$work/ten.wav" >/dev/null
measure travex "$bin/travex" -infile="$work/ten.wav" -outfile="$work/out.wav" -convert_to=wave -silent
"$bin/travex" -infile="$work/ten.wav" -outfile="$work/check.wav" -convert_to=wave -silent
measure cp cp "$work/ten.wav" "$work/out.wav"
measure sox sox "$work/ten.wav" "$work/out.wav"

ms() { awk -v n="$1" 'BEGIN {printf "%.1f ms", n / 1e6}'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN {printf "%.2f", a / b}'; }
echo "10-minute 44.1 kHz stereo WAV to WAV, median of $runs runs:"
echo "  travex  $(ms "${result[travex]}")"
echo "  cp      $(ms "${result[cp]}")"
echo "  sox     $(ms "${result[sox]}")"
echo "  sox/travex = $(ratio "${result[sox]}" "${result[travex]}") (target above 1)"
echo "  cp/travex  = $(ratio "${result[cp]}" "${result[travex]}") (target at least 0.5)"
rm -f "$work/ten.wav" "$work/check.wav" "$work/out.wav"

peak() {
    /usr/bin/time -f %M "$bin/travex" -infile="$1" -outfile="$work/out.wav" -convert_to=wave -silent 2>&1 >/dev/null |
        tail -1
}
tone 60 "$work/one.wav"
one=$(peak "$work/one.wav")
rm -f "$work/one.wav" "$work/out.wav"
tone 3600 "$work/sixty.wav"
sixty=$(peak "$work/sixty.wav")
echo "Peak memory (max RSS): 1 minute ${one} KiB, 60 minutes ${sixty} KiB"
