#!/usr/bin/env bash
# Whole-process timing of the bundled effects on a 10-minute 44.1 kHz stereo WAV, converted to
# FLAC and to MP3 -V 2: the same conversion without effects, with the resampler alone, with the
# three live effects of the chain (Volume Adjust, Resample, ReplayGain) and with the whole chain
# of those three and one non-live effect (Volume Normalize); beside sox doing that chain (gain,
# rate -v, normalisation) to FLAC, and into lame for MP3.
#   bench/effects.sh [build folder, default build] [timed rounds of every case, default 5]
#                    [outputs, default "flac mp3"]
# Use a Release build. Each case is timed in CPU (user + system, of every process and thread it
# starts) and in wall time, medians of the rounds; on a shared machine the CPU time is the figure
# to trust. The chain's cost apart from the resampler's own work is
#   (chain - resampler alone) / plain,
# since the resampler alone holds the resampler and the encoder's extra work on the higher rate.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
# shellcheck source=bench/lib.sh
source "$root/bench/lib.sh"
build=${1:-$root/build}
runs=${2:-5}
read -r -a outputs <<<"${3:-flac mp3}"
for to in "${outputs[@]}"; do
    [[ $to == flac || $to == mp3 ]] || { echo "outputs are flac and mp3, not '$to'" >&2; exit 2; }
done
bin=$build/bin
for tool in travex tvreg decoder/wave.so encoder/flac.so encoder/mp3.so "DSPs/Volume Adjust.so" DSPs/Resample.so \
            DSPs/ReplayGain.so "DSPs/Volume Normalize.so"; do
    [[ -e $bin/$tool ]] || { echo "missing $bin/$tool: build travex, tvreg, the plug-ins and tv_effects first" >&2; exit 2; }
done
bench_need sox lame

bench_workspace
export TMPDIR=$work
"$bin/tvreg" ADD 'HKCU\Software\Brightmoor\Tonvale' /v vMXNoPreCache /t REG_DWORD /d 1 /f >/dev/null

# A tone with some noise, so that no tool can take a shortcut over silence.
sox -n -r 44100 -c 2 -b 16 "$work/ten.wav" synth 600 sine 440 synth 600 whitenoise amod 0.1 0.9
cat "$work/ten.wav" >/dev/null

# Median of the arguments.
median() { printf '%s\n' "$@" | sort -g | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : (a[NR/2]+a[NR/2+1])/2}'; }

live=("-dspeffect1=Volume Adjust=-gain=-3" "-dspeffect2=Resample=-rate=48000" -dspeffect3=ReplayGain=)
nonlive=("-dspeffect4=Volume Normalize=-peak=-1")
flac() { "$bin/travex" -infile="$work/ten.wav" -outfile="$work/out.flac" -convert_to=flac -silent "$@"; }
mp3() { "$bin/travex" -infile="$work/ten.wav" -outfile="$work/out.mp3" -convert_to=mp3 -V=2 -silent "$@"; }
sox_flac() { sox "$work/ten.wav" "$work/out.flac" gain -3 rate -v 48000 gain -n -1; }
sox_mp3() { sox "$work/ten.wav" -t wav - gain -3 rate -v 48000 gain -n -1 | lame -V2 --quiet - "$work/out.mp3"; }

# run_case NAME: the case's command, NAME being OUTPUT.CASE.
run_case() {
    local to=${1%%.*}
    case ${1#*.} in
        plain) $to ;;
        resample) $to "-dspeffect1=Resample=-rate=48000" ;;
        live) $to "${live[@]}" ;;
        chain) $to "${live[@]}" "${nonlive[@]}" ;;
        sox) sox_$to ;;
    esac
}

# Every case once a round, round after round, so that a slow spell of a shared machine falls on
# all of them alike; then the median of each case's rounds. The first round isn't timed: memory
# the system has just taken back costs a virtual machine far more on its first touch than
# later, and the chain's temporary files touch a lot of it.
cases=()
for to in "${outputs[@]}"; do
    for c in plain resample live chain sox; do cases+=("$to.$c"); done
done
declare -A walls cpus wall cpu
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
for ((round = 0; round <= runs; round++)); do
    for name in "${cases[@]}"; do
        rm -f "$work"/out.*
        if ((round == 0)); then
            run_case "$name" >/dev/null 2>&1 || true  # a failing case shows in the timed rounds
            continue
        fi
        line=$({ TIMEFORMAT='%R %U %S'; time run_case "$name" >/dev/null 2>&1; } 2>&1 | tail -1)
        walls[$name]+=" ${line%% *}"
        cpus[$name]+=" $(awk '{print $2 + $3}' <<<"$line")"
    done
done
for name in "${cases[@]}"; do
    # shellcheck disable=SC2086  # the lists split into their numbers on purpose
    wall[$name]=$(median ${walls[$name]})
    # shellcheck disable=SC2086
    cpu[$name]=$(median ${cpus[$name]})
done

echo "10-minute 44.1 kHz stereo WAV, median of $runs interleaved rounds (load before: $load_before, after: $(cut -d' ' -f1-3 /proc/loadavg))"
for to in "${outputs[@]}"; do
    label=$([[ $to == flac ]] && echo "FLAC" || echo "MP3 -V 2")
    echo "to $label:                      CPU s    wall s"
    for c in plain:"no effects" resample:"Resample alone" live:"the 3 live effects" chain:"3 live + 1 non-live" \
             sox:"sox, the same chain"; do
        printf '  %-28s %7.2f %9.2f\n' "${c#*:}" "${cpu[$to.${c%%:*}]}" "${wall[$to.${c%%:*}]}"
    done
    awk -v pc="${cpu[$to.plain]}" -v rc="${cpu[$to.resample]}" -v lc="${cpu[$to.live]}" -v cc="${cpu[$to.chain]}" \
        -v sc="${cpu[$to.sox]}" -v pw="${wall[$to.plain]}" -v rw="${wall[$to.resample]}" -v lw="${wall[$to.live]}" \
        -v cw="${wall[$to.chain]}" -v sw="${wall[$to.sox]}" 'BEGIN {
        printf "  3 live effects apart from the resampler: CPU %+.1f %%, wall %+.1f %%\n", (lc - rc) * 100 / pc, (lw - rw) * 100 / pw
        printf "  whole chain apart from the resampler:    CPU %+.1f %%, wall %+.1f %% (target at most 10 %%)\n",
               (cc - rc) * 100 / pc, (cw - rw) * 100 / pw
        printf "  sox / travex, the chain:                 CPU %.2f, wall %.2f\n", sc / cc, sw / cw }'
done
