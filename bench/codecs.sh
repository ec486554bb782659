#!/usr/bin/env bash
# Whole-process timing of each bundled encoder and decoder through travex, beside the format's
# reference tool at the same settings, on the same 10-minute 44.1 kHz stereo input in the same
# run. Runs of a pair alternate so that both see the same machine load.
#   bench/codecs.sh [build folder, default build] [runs per tool, default 3]
# Use a Release build with travex, tvreg and the WAV, FLAC, MP3, Vorbis and Opus plug-ins.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=bench/lib.sh
source "$root/bench/lib.sh"
build=${1:-$root/build}
runs=${2:-3}
bin=$build/bin
for f in travex tvreg; do
    [[ -x $bin/$f ]] || { echo "missing $bin/$f" >&2; exit 2; }
done
for c in wave flac mp3 vorbis opus; do
    [[ -e $bin/decoder/$c.so && -e $bin/encoder/$c.so ]] || { echo "missing the $c plug-ins in $bin" >&2; exit 2; }
done
bench_need sox flac lame oggenc opusenc mpg123 oggdec opusdec

bench_workspace
# travex then reads its source once, like the tools.
"$bin/tvreg" ADD 'HKCU\Software\Brightmoor\Tonvale' /v vMXNoPreCache /t REG_DWORD /d 1 /f >/dev/null

# Music-like input: a gliding tone over quiet noise, so no encoder meets silence or pure tones.
in=$work/ten.wav
sox -n -r 44100 -c 2 -b 16 "$in" synth 600 sine 100-3000 synth 600 pinknoise mix vol 0.4

now() { date +%s%N; }
median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : int((a[NR/2]+a[NR/2+1])/2)}'; }
secs() { awk -v n="$1" 'BEGIN {printf "%.2f s", n / 1e9}'; }

# pair LABEL OUT -- TOOL COMMAND... -- TRAVEX ARGS...: medians of both, and the ratio.
pair() {
    local label=$1 out=$2; shift 2
    local tool=() tv=()
    shift  # --
    while [[ $1 != -- ]]; do tool+=("$1"); shift; done
    shift
    tv=("$@")
    local a=() b=() start sa sb
    for ((i = 0; i < runs; i++)); do
        rm -f "$out"
        start=$(now); "${tool[@]}" >/dev/null 2>&1; a+=($(( $(now) - start )))
        [[ -s $out ]] || { echo "$label: the tool wrote nothing" >&2; exit 1; }
        sa=$(stat -c %s "$out")
        rm -f "$out"
        start=$(now); "$bin/travex" "${tv[@]}" -silent >/dev/null 2>&1; b+=($(( $(now) - start )))
        [[ -s $out ]] || { echo "$label: travex wrote nothing" >&2; exit 1; }
        sb=$(stat -c %s "$out")
    done
    local ta tb
    ta=$(median "${a[@]}"); tb=$(median "${b[@]}")
    # The sizes show that both worked at the same settings.
    printf '  %-26s tool %8s  travex %8s  travex/tool %s  (size travex/tool %s)\n' "$label" "$(secs "$ta")" \
        "$(secs "$tb")" "$(awk -v a="$ta" -v b="$tb" 'BEGIN {printf "%.3f", b / a}')" \
        "$(awk -v a="$sa" -v b="$sb" 'BEGIN {printf "%.3f", b / a}')"
}

cat "$in" >/dev/null
echo "10-minute 44.1 kHz stereo 16-bit input, median of $runs runs each:"
echo "Encoding"
pair "FLAC -5 (flac)" "$work/o.flac" -- flac -5 -s -f -o "$work/o.flac" "$in" \
    -- -infile="$in" -outfile="$work/o.flac" -convert_to=flac -5
pair "MP3 -V 2 (lame)" "$work/o.mp3" -- lame -V2 --quiet "$in" "$work/o.mp3" \
    -- -infile="$in" -outfile="$work/o.mp3" -convert_to=mp3 -V=2
pair "Vorbis -q 5 (oggenc)" "$work/o.ogg" -- oggenc -Q -q5 -o "$work/o.ogg" "$in" \
    -- -infile="$in" -outfile="$work/o.ogg" -convert_to=vorbis -q=5
pair "Opus 128 kbps (opusenc)" "$work/o.opus" -- opusenc --quiet --bitrate 128 "$in" "$work/o.opus" \
    -- -infile="$in" -outfile="$work/o.opus" -convert_to=opus --bitrate=128

# The decoders all read files made by the reference tools; opusdec is held at 48 kHz, the
# rate decoder/opus.so gives, instead of going back to the source rate.
flac -5 -s -f -o "$work/s.flac" "$in"
lame -V2 --quiet "$in" "$work/s.mp3"
oggenc -Q -q5 -o "$work/s.ogg" "$in"
opusenc --quiet --bitrate 128 "$in" "$work/s.opus"
echo "Decoding to WAV"
pair "FLAC (flac -d)" "$work/d.wav" -- flac -d -s -f -o "$work/d.wav" "$work/s.flac" \
    -- -infile="$work/s.flac" -outfile="$work/d.wav" -convert_to=wave
pair "MP3 (mpg123)" "$work/d.wav" -- mpg123 -q -w "$work/d.wav" "$work/s.mp3" \
    -- -infile="$work/s.mp3" -outfile="$work/d.wav" -convert_to=wave
pair "Vorbis (oggdec)" "$work/d.wav" -- oggdec -Q -o "$work/d.wav" "$work/s.ogg" \
    -- -infile="$work/s.ogg" -outfile="$work/d.wav" -convert_to=wave
pair "Opus (opusdec)" "$work/d.wav" -- opusdec --quiet --rate 48000 "$work/s.opus" "$work/d.wav" \
    -- -infile="$work/s.opus" -outfile="$work/d.wav" -convert_to=wave
