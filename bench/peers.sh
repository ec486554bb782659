#!/usr/bin/env bash
# Every conversion task beside its peers in one run: travex, the codec tools, sox and ffmpeg,
# timed as whole processes on inputs made here. For each task it prints the median wall time,
# CPU time (user + system) and peak memory of every contender, and travex's time over the
# fastest peer's. Runs of one task alternate between contenders so that all see the same load.
#   bench/peers.sh [build folder, default build] [runs per contender, default 5]
# Use a Release (or RelWithDebInfo) tree with travex, tvreg and the bundled plug-ins.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=bench/lib.sh
source "$root/bench/lib.sh"
build=${1:-$root/build}
runs=${2:-5}
bin=$build/bin
for f in travex tvreg; do
    [[ -x $bin/$f ]] || { echo "missing $bin/$f" >&2; exit 2; }
done
bench_need sox flac lame oggenc opusenc mpg123 ffmpeg metaflac convert /usr/bin/time

bench_workspace
# travex then reads its source once, like the tools.
"$bin/tvreg" ADD 'HKCU\Software\Brightmoor\Tonvale' /v vMXNoPreCache /t REG_DWORD /d 1 /f >/dev/null

# Music-like inputs: a gliding tone over quiet noise, so no encoder meets silence or pure tones.
sox -n -r 44100 -c 2 -b 16 "$work/ten.wav" synth 600 sine 100-3000 synth 600 pinknoise mix vol 0.4
sox -n -r 96000 -c 2 -b 24 "$work/hires.wav" synth 180 sine 100-3000 synth 180 pinknoise mix vol 0.4
sox "$work/ten.wav" "$work/one.wav" trim 0 1
convert -size 600x600 gradient:red-blue "$work/cover.jpg"
flac -5 -s -f -o "$work/tagged.flac" "$work/ten.wav"
metaflac --set-tag=TITLE=Glide --set-tag=ARTIST=Bench --set-tag=ALBUM=Peers \
    --set-tag=TRACKNUMBER=1 --set-tag=DATE=2026 "$work/tagged.flac"
metaflac --import-picture-from="$work/cover.jpg" "$work/tagged.flac"
lame -V2 --quiet "$work/ten.wav" "$work/src.mp3"
cat "$work"/*.wav "$work"/*.flac "$work"/*.mp3 >/dev/null

median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2}'; }

# One timed run: wall seconds, CPU seconds, peak KiB on one line.
timed() {
    /usr/bin/time -f '%e %U %S %M' -o "$work/time.txt" "$@" >/dev/null 2>&1 || { echo "failed: $*" >&2; exit 1; }
    awk '{printf "%s %.3f %s\n", $1, $2 + $3, $4}' "$work/time.txt"
}

# task LABEL OUT -- NAME CMD... [-- NAME CMD...]...: the first contender is travex.
task() {
    local label=$1 out=$2; shift 2
    local names=() cmds=() cur=""
    while (($#)); do
        if [[ $1 == -- ]]; then
            shift; names+=("$1"); shift; cmds+=(""); cur=$((${#cmds[@]} - 1))
        else
            cmds[cur]+="$(printf '%q ' "$1")"; shift
        fi
    done
    local -A wall cpu mem
    local n i line
    for ((i = 0; i < runs; i++)); do
        for ((n = 0; n < ${#names[@]}; n++)); do
            rm -f "$out"
            line=$(eval "timed ${cmds[n]}")
            [[ -s $out ]] || { echo "$label: ${names[n]} wrote nothing" >&2; exit 1; }
            read -r w c m <<<"$line"
            wall[$n]+="$w "; cpu[$n]+="$c "; mem[$n]+="$m "
        done
    done
    local best="" bestw=""
    printf '%s\n' "$label"
    for ((n = 0; n < ${#names[@]}; n++)); do
        local mw mc mm
        mw=$(median ${wall[$n]}); mc=$(median ${cpu[$n]}); mm=$(median ${mem[$n]})
        printf '  %-28s wall %8.3f s  cpu %8.3f s  peak %7d KiB\n' "${names[n]}" "$mw" "$mc" "$mm"
        if ((n == 0)); then
            tv=$mw
        elif [[ -z $bestw ]] || awk -v a="$mw" -v b="$bestw" 'BEGIN {exit !(a < b)}'; then
            best=${names[n]}; bestw=$mw
        fi
    done
    printf '  travex / fastest peer (%s) = %s\n' "$best" "$(awk -v a="$tv" -v b="$bestw" 'BEGIN {printf "%.2f", a / b}')"
}

o=$work/out
echo "Load average: $(cut -d' ' -f1-3 /proc/loadavg); median of $runs runs; inputs: 10 min 44.1 kHz/16-bit stereo"
task "WAV -> FLAC level 5" "$o.flac" \
    -- travex "$bin/travex" -infile="$work/ten.wav" -outfile="$o.flac" -convert_to=flac -5 -silent \
    -- "flac -5" flac -5 -s -f -o "$o.flac" "$work/ten.wav" \
    -- "ffmpeg flac" ffmpeg -v quiet -y -i "$work/ten.wav" -compression_level 5 "$o.flac"
task "96 kHz/24-bit WAV (3 min) -> FLAC level 5" "$o.flac" \
    -- travex "$bin/travex" -infile="$work/hires.wav" -outfile="$o.flac" -convert_to=flac -5 -silent \
    -- "flac -5" flac -5 -s -f -o "$o.flac" "$work/hires.wav" \
    -- "ffmpeg flac" ffmpeg -v quiet -y -i "$work/hires.wav" -compression_level 5 "$o.flac"
task "WAV -> MP3 V2" "$o.mp3" \
    -- travex "$bin/travex" -infile="$work/ten.wav" -outfile="$o.mp3" -convert_to=mp3 -V=2 -silent \
    -- "lame -V2" lame -V2 --quiet "$work/ten.wav" "$o.mp3" \
    -- "ffmpeg libmp3lame" ffmpeg -v quiet -y -i "$work/ten.wav" -c:a libmp3lame -q:a 2 "$o.mp3"
task "WAV -> Ogg Vorbis q5" "$o.ogg" \
    -- travex "$bin/travex" -infile="$work/ten.wav" -outfile="$o.ogg" -convert_to=vorbis -q=5 -silent \
    -- "oggenc -q5" oggenc -Q -q5 -o "$o.ogg" "$work/ten.wav" \
    -- "ffmpeg libvorbis" ffmpeg -v quiet -y -i "$work/ten.wav" -c:a libvorbis -q:a 5 "$o.ogg"
task "WAV -> Opus 128 kbit/s" "$o.opus" \
    -- travex "$bin/travex" -infile="$work/ten.wav" -outfile="$o.opus" -convert_to=opus --bitrate=128 -silent \
    -- "opusenc 128" opusenc --quiet --bitrate 128 "$work/ten.wav" "$o.opus" \
    -- "ffmpeg libopus" ffmpeg -v quiet -y -i "$work/ten.wav" -c:a libopus -b:a 128k "$o.opus"
task "FLAC with tags and cover -> MP3 V2" "$o.mp3" \
    -- travex "$bin/travex" -infile="$work/tagged.flac" -outfile="$o.mp3" -convert_to=mp3 -V=2 -silent \
    -- "ffmpeg libmp3lame" ffmpeg -v quiet -y -i "$work/tagged.flac" -map 0 -c:a libmp3lame -q:a 2 -c:v copy -id3v2_version 3 "$o.mp3"
task "MP3 -> WAV" "$o.wav" \
    -- travex "$bin/travex" -infile="$work/src.mp3" -outfile="$o.wav" -convert_to=wave -silent \
    -- "mpg123 -w" mpg123 -q -w "$o.wav" "$work/src.mp3" \
    -- "ffmpeg" ffmpeg -v quiet -y -i "$work/src.mp3" "$o.wav"
task "WAV -> WAV copy" "$o.wav" \
    -- travex "$bin/travex" -infile="$work/ten.wav" -outfile="$o.wav" -convert_to=wave -silent \
    -- "sox" sox "$work/ten.wav" "$o.wav" \
    -- "ffmpeg" ffmpeg -v quiet -y -i "$work/ten.wav" -c:a pcm_s16le "$o.wav"
echo "  (cp, not a converter: $(timed cp "$work/ten.wav" "$o.wav" | cut -d' ' -f1) s)"
# A whole run here takes milliseconds, below time(1)'s 10 ms steps: the wall time is taken over
# many runs with the nanosecond clock (alternating), the peak memory from one run.
declare -A start_ns
startup() {  # startup NAME CMD...: one more timed run into start_ns[NAME]
    local name=$1; shift
    rm -f "$o.flac"
    local start
    start=$(date +%s%N); "$@" >/dev/null 2>&1; start_ns[$name]+="$(( $(date +%s%N) - start )) "
    [[ -s $o.flac ]] || { echo "start-up: $name wrote nothing" >&2; exit 1; }
}
tv_one=("$bin/travex" -infile="$work/one.wav" -outfile="$o.flac" -convert_to=flac -5 -silent)
flac_one=(flac -5 -s -f -o "$o.flac" "$work/one.wav")
for ((i = 0; i < 10 * runs; i++)); do
    startup travex "${tv_one[@]}"
    startup "flac -5" "${flac_one[@]}"
done
echo "1-second WAV -> FLAC, whole process (median of $((10 * runs)) runs)"
tv=$(median ${start_ns[travex]}); fl=$(median ${start_ns["flac -5"]})
printf '  %-28s wall %8.2f ms  peak %7d KiB\n' travex "$(awk -v n="$tv" 'BEGIN {print n / 1e6}')" "$(timed "${tv_one[@]}" | cut -d' ' -f3)"
printf '  %-28s wall %8.2f ms  peak %7d KiB\n' "flac -5" "$(awk -v n="$fl" 'BEGIN {print n / 1e6}')" "$(timed "${flac_one[@]}" | cut -d' ' -f3)"
printf '  travex / flac = %s\n' "$(awk -v a="$tv" -v b="$fl" 'BEGIN {printf "%.2f", a / b}')"
