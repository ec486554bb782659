#!/usr/bin/env bash
# The Windows leg of the test command: the MinGW-w64 cross build (build-win/), its test
# programs under Wine through ctest, and the end-to-end checks of tests/windows/e2e.sh. One
# wineserver is kept warm for the whole leg, started here (outside ctest's pipes, which it
# would otherwise hold open) and stopped at the end. Prints "windows: N passed, N failed" last.
#   scripts/test_windows.sh [LOG_DIR]
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
logs=${1:-$(mktemp -d)}
build=$root/build-win
jobs=$(nproc)
installing=$(date +%s)
"$here/deps.sh" "$here/packages-windows.txt"
wine=/usr/lib/wine/wine64
wineserver=/usr/lib/wine/wineserver

export WINEPREFIX=$build/wine WINEARCH=win64 WINEDEBUG=-all
# No Mono or Gecko installer at the first start, and no window: the tests have no display.
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY

started=$(date +%s)
"$here/configure.sh" "$build" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
  -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTV_BENCH=OFF || { echo "windows: 0 passed, 1 failed"; exit 1; }
cmake --build "$build" -j"$jobs" || { echo "windows: 0 passed, 1 failed"; exit 1; }
built=$(date +%s)

"$wineserver" -p </dev/null >/dev/null 2>&1
trap '"$wineserver" -k >/dev/null 2>&1; "$wineserver" -w >/dev/null 2>&1' EXIT
"$wine" wineboot -i </dev/null >/dev/null 2>&1

status=0
ctest --test-dir "$build" --output-on-failure -j"$jobs" --timeout 300 2>&1 | tee "$logs/windows.log" || status=1
bash "$root/tests/windows/e2e.sh" "$build" "$root/build" 2>&1 | tee "$logs/windows-e2e.log" || status=1
bash "$root/tests/windows/tvget_e2e.sh" "$build" 2>&1 | tee "$logs/windows-tvget.log" || status=1
echo "windows leg: packages $((started - installing)) s, build $((built - started)) s, tests $(($(date +%s) - built)) s"

passed=0 failed=0
line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$logs/windows.log" | tail -n 1 || true)
if [ -n "$line" ]; then
  total=$(sed -E 's/.* out of ([0-9]+).*/\1/' <<<"$line")
  bad=$(sed -E 's/.*tests passed, ([0-9]+) tests failed.*/\1/' <<<"$line")
  passed=$((total - bad)); failed=$bad
else
  failed=1
fi
line=$(grep -E '^windows e2e: ' "$logs/windows-e2e.log" | tail -n 1 || true)
if [ -n "$line" ]; then
  passed=$((passed + $(sed -E 's/.*: ([0-9]+) passed.*/\1/' <<<"$line")))
  failed=$((failed + $(sed -E 's/.* ([0-9]+) failed.*/\1/' <<<"$line")))
else
  failed=$((failed + 1))
fi
line=$(grep -E '^windows tvget: ' "$logs/windows-tvget.log" | tail -n 1 || true)
if [ -n "$line" ]; then
  passed=$((passed + $(sed -E 's/.*: ([0-9]+) passed.*/\1/' <<<"$line")))
  failed=$((failed + $(sed -E 's/.* ([0-9]+) failed.*/\1/' <<<"$line")))
else
  failed=$((failed + 1))
fi
echo "windows: $passed passed, $failed failed"
[ "$failed" = 0 ] && [ $status = 0 ]
