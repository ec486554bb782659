#!/usr/bin/env bash
# End-to-end checks of the Windows build under Wine: e2e.sh WIN_BUILD [LINUX_BUILD]
# Each check runs the built executables in a fresh folder and compares bytes; the console
# bytes of a command-file run are compared with the Linux build's when it is there. Expects
# WINEPREFIX set and a wineserver running. Prints one line per check and, last,
# "windows e2e: N passed, N failed".
set -uo pipefail
win=$(cd "$1" && pwd)
linux=${2:-}
wine=${TV_WINE:-/usr/lib/wine/wine64}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
passed=0 failed=0

check() {  # check NAME COMMAND...: runs the command in a subshell; status 0 passes
  local name=$1; shift
  if ( set -e; "$@" ) >"$work/check.log" 2>&1; then
    passed=$((passed + 1)); echo "ok   $name"
  else
    failed=$((failed + 1)); echo "FAIL $name"; sed 's/^/     /' "$work/check.log" | tail -n 30
  fi
}

fresh() {  # fresh NAME: a new folder with the program and the given plug-in tree
  local dir=$work/$1 plugins=${2:-$win/bin}
  rm -rf "$dir"; mkdir -p "$dir/decoder" "$dir/encoder" "$dir/DSPs"
  cp "$win/bin/Travex.exe" "$win/bin/tvctl.exe" "$dir/"
  cp "$plugins"/decoder/*.dll "$dir/decoder/" 2>/dev/null || true
  cp "$plugins"/encoder/*.DLL "$dir/encoder/" 2>/dev/null || true
  cp "$plugins"/DSPs/*.DLL "$dir/DSPs/" 2>/dev/null || true
  cd "$dir"
}

pcm() { ffmpeg -loglevel error -i "$1" -f s16le -; }

wave_roundtrip() {
  fresh wave
  ffmpeg -loglevel error -f lavfi -i "sine=frequency=440:duration=3" -ac 2 -c:a pcm_s16le \
    -metadata title="Gray Title" -metadata artist="Gray Artist" -metadata album="Gray Album" in.wav
  "$wine" Travex.exe -infile=in.wav -outfile=out.wav -convert_to=wave >out.txt 2>err.txt
  [ ! -s err.txt ]
  cmp <(pcm in.wav) <(pcm out.wav)
  tags=$(ffprobe -loglevel error -show_entries format_tags=title,artist,album -of default=noprint_wrappers=1 out.wav | sort)
  [ "$tags" = "$(printf 'TAG:album=Gray Album\nTAG:artist=Gray Artist\nTAG:title=Gray Title')" ] || { echo "$tags"; false; }
}

existing_output_kept() {
  fresh keep "$win/testplugins"
  head -c 352800 /dev/urandom >in.tvt
  printf 'old output' >o.pcm
  export TVT_LOG=log.txt TVT_SCRIPT=dec.failblock=3
  ! "$wine" Travex.exe -infile=in.tvt -outfile=o.pcm -convert_to=tvt >out.txt 2>err.txt
  [ "$(cat o.pcm)" = "old output" ]
  [ -z "$(ls | grep -i '\.tmp')" ]
  grep -q 'enc.Begin o.pcm.tmp.pcm' log.txt
  unset TVT_SCRIPT
  "$wine" Travex.exe -infile=in.tvt -outfile=o.pcm -convert_to=tvt >out.txt 2>err.txt
  cmp in.tvt o.pcm
}

command_file_bytes() {
  [ -n "$linux" ] && [ -x "$linux/bin/travex" ] || { echo "no Linux build to compare with"; return 0; }
  ffmpeg -loglevel error -f lavfi -i "sine=frequency=330:duration=2" -ac 2 -c:a pcm_s16le -metadata title=Cmd \
    "$work/cmd.wav"
  printf '%s' "-infile=in.wav -outfile=out.wav -convert_to=wave" | iconv -f utf-8 -t utf-16le >"$work/cmd16.txt"
  local side
  for side in linux windows; do
    if [ $side = linux ]; then
      mkdir -p "$work/cmd-linux" && cd "$work/cmd-linux" && cp "$work/cmd.wav" in.wav && cp "$work/cmd16.txt" cmd.txt
      "$linux/bin/travex" -tvcmd=cmd.txt >out.txt 2>err.txt || echo "status $?" >>err.txt
    else
      fresh cmd-windows && cp "$work/cmd.wav" in.wav && cp "$work/cmd16.txt" cmd.txt
      "$wine" Travex.exe -tvcmd=cmd.txt >out.txt 2>err.txt || echo "status $?" >>err.txt
    fi
  done
  cmp "$work/cmd-linux/out.txt" "$work/cmd-windows/out.txt"
  cmp "$work/cmd-linux/err.txt" "$work/cmd-windows/err.txt"
  cmp "$work/cmd-linux/out.wav" "$work/cmd-windows/out.wav"
  [ -s "$work/cmd-windows/out.txt" ]
}

quit_event_from_other_process() {
  fresh quit "$win/testplugins"
  head -c 35280 /dev/urandom >in.tvt
  export TVT_LOG=log.txt TVT_SCRIPT=dec.never
  "$wine" Travex.exe -infile=in.tvt -outfile=n.pcm -convert_to=tvt -evtquit=TvWineQuit -silent >out.txt 2>err.txt &
  local pid=$! status=0 i
  for i in $(seq 1 100); do grep -q 'dec.Block empty' log.txt 2>/dev/null && break; sleep 0.2; done
  "$wine" tvctl.exe event set TvWineQuit
  for i in $(seq 1 150); do kill -0 $pid 2>/dev/null || break; sleep 0.2; done
  if kill -0 $pid 2>/dev/null; then kill $pid; echo "still running after the quit event"; return 1; fi
  wait $pid || status=$?
  [ $status = 1 ]
  grep -q 'enc.End 1' log.txt
}

crash_dump_and_successor() {
  fresh crash "$win/testplugins/crash"
  head -c 176400 /dev/urandom >in.tvf
  local crashes
  crashes=$WINEPREFIX/drive_c/users/$(id -un)/AppData/Roaming/vMX/crashes
  rm -rf "$crashes"
  printf 'old output' >o.pcm
  # The crashed process ends with 0; the successor writes the report to the same standard error.
  TVF_FAULT=null "$wine" Travex.exe -infile=in.tvf -outfile=o.pcm -convert_to=crashpcm >out.txt 2>err.txt
  local i
  for i in $(seq 1 100); do iconv -f utf-16le -t utf-8 err.txt | grep -q 'crash-.*\.dmp' && break; sleep 0.2; done
  local dump
  dump=$(ls "$crashes"/crash-*.dmp | head -n 1)
  [ "$(head -c 4 "$dump")" = "MDMP" ]
  iconv -f utf-16le -t utf-8 err.txt | tr -d '\r' >report.txt
  grep -qx 'Tonvale Travex Core has stopped working' report.txt
  grep '^2) Send crash dump, helping fix the issue: C:' report.txt | grep -qF "vMX\\crashes\\$(basename "$dump")"
  # The old output is untouched and the half-written one is gone.
  [ "$(cat o.pcm)" = "old output" ]
  [ -z "$(ls | grep -i '\.tmp')" ]
}

settings_in_registry() {
  fresh reg
  cp "$win/bin/tvreg.exe" .
  "$wine" tvreg.exe add 'HKCU\Software\Brightmoor\Tonvale' /v vMXWineCheck /t REG_SZ /d 'from tvreg' /f
  "$wine" reg query 'HKCU\Software\Brightmoor\Tonvale' /v vMXWineCheck | tr -d '\r' | grep -q 'vMXWineCheck *REG_SZ *from tvreg'
  "$wine" reg add 'HKCU\Software\Brightmoor\Tonvale' /v vMXWineBack /t REG_DWORD /d 42 /f
  "$wine" tvreg.exe query 'HKCU\Software\Brightmoor\Tonvale' /v vMXWineBack | tr -d '\r' | grep -q 'REG_DWORD *0x2a'
  # A run leaves its first-run values where Windows tools see them.
  "$wine" reg query 'HKCU\Software\Brightmoor\Tonvale' | tr -d '\r' | grep -q 'HKEY_CURRENT_USER\\Software\\Brightmoor\\Tonvale'
  "$wine" tvreg.exe delete 'HKCU\Software\Brightmoor\Tonvale' /v vMXWineCheck /f
  "$wine" tvreg.exe delete 'HKCU\Software\Brightmoor\Tonvale' /v vMXWineBack /f
  ! "$wine" reg query 'HKCU\Software\Brightmoor\Tonvale' /v vMXWineCheck
}

check "WAV to WAV bit-exact with its tags" wave_roundtrip
check "an existing output stays until the new one is complete" existing_output_kept
check "a command file gives the Linux build's console bytes" command_file_bytes
check "the quit event set by another process ends the run" quit_event_from_other_process
check "a faulting plug-in leaves a dump and starts the successor" crash_dump_and_successor
check "settings live in the registry" settings_in_registry
echo "windows e2e: $passed passed, $failed failed"
[ "$failed" = 0 ]
