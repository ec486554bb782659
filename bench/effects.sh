#!/usr/bin/env bash
# Whole-process timing of the bundled effects on a 10-minute 44.1 kHz stereo WAV converted to
# FLAC: the same conversion without effects, with the resampler alone, and with a chain of three
# live effects (Volume Adjust, Resample, ReplayGain) and one non-live (Volume Normalize); beside
# sox doing that chain (gain, rate -v, normalisation) to FLAC.
#   bench/effects.sh [build folder, default build] [runs per case, default 5]
# Use a Release build. The overhead of the chain apart from the resampler's own work is
# (chain - resampler alone) / plain; the three live effects alone show how much of it is the
# rendering of the whole file that a non-live effect brings.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${1:-$root/build}
runs=${2:-5}
bin=$build/bin
for tool in travex tvreg decoder/wave.so encoder/flac.so "DSPs/Volume Adjust.so" DSPs/Resample.so DSPs/ReplayGain.so \
            "DSPs/Volume Normalize.so"; do
    [[ -e $bin/$tool ]] || { echo "missing $bin/$tool: build travex, tvreg, the plug-ins and tv_effects first" >&2; exit 2; }
done
command -v sox >/dev/null || { echo "sox is needed (scripts/packages.txt)" >&2; exit 2; }

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export TONVALE_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run HOME=$work TMPDIR=$work
mkdir -p "$TONVALE_CONFIG_HOME" "$XDG_RUNTIME_DIR"
"$bin/tvreg" ADD 'HKCU\Software\Brightmoor\Tonvale' /v vMXNoPreCache /t REG_DWORD /d 1 /f >/dev/null

# A tone with some noise, so that no tool can take a shortcut over silence.
sox -n -r 44100 -c 2 -b 16 "$work/ten.wav" synth 600 sine 440 synth 600 whitenoise amod 0.1 0.9

now() { date +%s%N; }
median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : int((a[NR/2]+a[NR/2+1])/2)}'; }

declare -A result
measure() {
    local name=$1; shift
    local times=() start
    for ((i = 0; i < runs; i++)); do
        rm -f "$work/out.flac"
        start=$(now)
        "$@" >/dev/null 2>&1
        times+=($(( $(now) - start )))
    done
    result[$name]=$(median "${times[@]}")
}

travex() { "$bin/travex" -infile="$work/ten.wav" -outfile="$work/out.flac" -convert_to=flac -silent "$@"; }
cat "$work/ten.wav" >/dev/null
measure plain travex
measure resample travex "-dspeffect1=Resample=-rate=48000"
measure live travex "-dspeffect1=Volume Adjust=-gain=-3" "-dspeffect2=Resample=-rate=48000" -dspeffect3=ReplayGain=
measure chain travex "-dspeffect1=Volume Adjust=-gain=-3" "-dspeffect2=Resample=-rate=48000" -dspeffect3=ReplayGain= \
    "-dspeffect4=Volume Normalize=-peak=-1"
measure sox sox "$work/ten.wav" "$work/out.flac" gain -3 rate -v 48000 gain -n -1

ms() { awk -v n="$1" 'BEGIN {printf "%.0f ms", n / 1e6}'; }
echo "10-minute 44.1 kHz stereo WAV to FLAC, median of $runs runs (load: $(cut -d' ' -f1-3 /proc/loadavg)):"
echo "  travex, no effects          $(ms "${result[plain]}")"
echo "  travex, Resample alone      $(ms "${result[resample]}")"
echo "  travex, the 3 live effects  $(ms "${result[live]}")"
echo "  travex, chain of 3 live + 1 non-live  $(ms "${result[chain]}")"
echo "  sox, the same chain         $(ms "${result[sox]}")"
awk -v c="${result[chain]}" -v l="${result[live]}" -v r="${result[resample]}" -v p="${result[plain]}" -v s="${result[sox]}" 'BEGIN {
    printf "  3 live effects, overhead apart from the resampler = %.1f %%\n", (l - r) * 100 / p
    printf "  whole chain, overhead apart from the resampler = %.1f %% (target at most 10 %%)\n", (c - r) * 100 / p
    printf "  sox / travex chain = %.2f\n", s / c }'
