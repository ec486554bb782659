#!/usr/bin/env bash
# install_test.sh BUILD_DIR SOURCE_DIR: see CMakeLists.txt. TV_LINTIAN=1 also runs lintian on
# the packages (slow; errors fail the test).
set -euo pipefail
build=$1 source=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
export HOME=$work/home XDG_DATA_HOME=$work/data TONVALE_CONFIG_HOME=$work/config
mkdir -p "$HOME" "$work/out"
fail() { echo "FAIL: $*" >&2; exit 1; }
step() { echo "== $*"; }

step "cmake --install into a temporary prefix"
cmake --install "$build" --prefix "$prefix" >"$work/install.log"
for f in bin/travex bin/tvinfo bin/tvimage bin/tvreg bin/tvctl lib/tonvale/decoder lib/tonvale/encoder \
         share/man/man1/travex.1.gz include/tonvale/plugin.h include/tvkit/plugin_base.h \
         share/doc/tonvale-dev/plugins.md; do
  [ -e "$prefix/$f" ] || fail "$f is not installed"
done
# The SDK's library folder is lib/ or the multiarch lib/<triplet>/.
pc=$(cd "$prefix" && ls lib/*/pkgconfig/tonvale-plugin.pc lib/pkgconfig/tonvale-plugin.pc 2>/dev/null | head -n 1 || true)
sdk_lib=${pc%/pkgconfig/tonvale-plugin.pc}
for f in "$sdk_lib/libtonvale-plugin.a" "$sdk_lib/cmake/TonvalePlugin/TonvalePluginConfig.cmake"; do
  [ -n "$pc" ] && [ -e "$prefix/$f" ] || fail "${f#/} is not installed beside tonvale-plugin.pc"
done
# A tool without its page (docs/man/<tool>.md) is reported here, not failed: the tool and its
# page may come in separate merges.
for tool in "$prefix"/bin/*; do
  [ -e "$prefix/share/man/man1/$(basename "$tool").1.gz" ] || echo "warning: no manual page for $(basename "$tool")"
done

# travex prints UTF-16LE when redirected; errors are shown as UTF-8.
run_travex() {  # run_travex TRAVEX ARG...
  local bin=$1 rc=0
  shift
  "$bin" "$@" >"$work/travex.out" 2>"$work/travex.err" || rc=$?
  if [ $rc -ne 0 ]; then
    iconv -f UTF-16LE -t UTF-8 "$work/travex.err" >&2 || true
    fail "travex $* exited with $rc"
  fi
}

step "the installed travex converts the sample to every bundled format"
"$prefix/bin/tvinfo" >"$work/list.txt"
grep -q "^  $prefix/lib/tonvale/  (program)$" "$work/list.txt" || fail "tvinfo doesn't show the installed plug-in folder"
encoders=$(sed -n '/^Encoders:/,/^DSP effects:/p' "$work/list.txt" | awk 'NF >= 3 && substr($2, 1, 1) == "." {print $1 ":" $2}')
[ "$(wc -w <<<"$encoders")" -ge 5 ] || fail "fewer than five bundled encoders: $encoders"
for pair in $encoders; do
  name=${pair%%:*} ext=${pair#*:}
  out="$work/out/sample$ext"
  run_travex "$prefix/bin/travex" -infile="$source/samples/sample.flac" -outfile="$out" -convert_to="$name"
  [ -s "$out" ] || fail "$name wrote nothing"
  "$prefix/bin/tvinfo" "$out" >"$work/info.txt" || fail "the $name output doesn't read back"
  grep -q '^Length: [1-9]' "$work/info.txt" || fail "the $name output has no length"
done

step "the installed header compiles alone as C11 and C++20"
echo '#include <tonvale/plugin.h>' >"$work/alone.c"
cc -std=c11 -pedantic -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include" "$work/alone.c"
c++ -std=c++20 -pedantic -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include" -x c++ "$work/alone.c"
for header in "$prefix"/include/tvkit/*.h; do
  echo "#include <tvkit/$(basename "$header")>" >"$work/kit.cpp"
  c++ -std=c++20 -Wall -Wextra -Werror -fsyntax-only -I"$prefix/include" "$work/kit.cpp"
done

step "the examples build out of tree with find_package and with pkg-config"
examples=$prefix/share/doc/tonvale-dev/examples
cmake -S "$examples" -B "$work/ex-cmake" -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release \
      -DCMAKE_C_FLAGS=-Werror -DCMAKE_CXX_FLAGS=-Werror >"$work/ex-cmake.log"
cmake --build "$work/ex-cmake" >>"$work/ex-cmake.log"
PKG_CONFIG_PATH="$prefix/$sdk_lib/pkgconfig" make -s -C "$examples" OUT="$work/ex-pc" \
      CFLAGS="-O2 -Wall -Wextra -Werror" CXXFLAGS="-O2 -Wall -Wextra -Werror" >"$work/ex-pc.log"

# A ramp of even 16-bit samples; the gain example at -6.0206 dB halves each one exactly.
perl -e 'print pack("s<*", map { $_ * 2 } -8000 .. 7999)' >"$work/ramp.raw"
perl -e 'print pack("s<*", -8000 .. 7999)' >"$work/half.raw"
for built in ex-cmake ex-pc; do
  step "the $built plug-ins load from the user's folder and convert"
  rm -rf "$XDG_DATA_HOME"
  for kind in decoder encoder DSPs; do
    mkdir -p "$XDG_DATA_HOME/tonvale/$kind"
    cp "$work/$built/$kind"/*.so "$XDG_DATA_HOME/tonvale/$kind/"
  done
  "$prefix/bin/tvinfo" >"$work/list.txt"
  grep -q '^  raw  .raw  lossy  (user)$' "$work/list.txt" || fail "tvinfo doesn't list the user's raw encoder"
  grep -q '^  gain  live  (user)$' "$work/list.txt" || fail "tvinfo doesn't list the user's gain DSP"
  grep -q '^  raw.so  (user)$' "$work/list.txt" || fail "tvinfo doesn't list the user's raw decoder"
  run_travex "$prefix/bin/travex" -infile="$work/ramp.raw" -outfile="$work/out/$built.raw" -convert_to=raw \
             -dspeffect1=gain=-6.0206
  cmp "$work/half.raw" "$work/out/$built.raw" || fail "decoder, gain and encoder of $built don't give the halved ramp"
done
# The raw encoder against an outside reference: the sample's PCM as sox decodes it.
run_travex "$prefix/bin/travex" -infile="$source/samples/sample.flac" -outfile="$work/out/sample.raw" -convert_to=raw
sox "$source/samples/sample.flac" -t raw "$work/sox.raw"
cmp "$work/sox.raw" "$work/out/sample.raw" || fail "the raw encoder's PCM differs from sox's"

step "cpack makes tonvale and tonvale-dev packages"
version=$(sed -n 's/^set(CPACK_PACKAGE_VERSION "\(.*\)")$/\1/p' "$build/CPackConfig.cmake")
(cd "$work" && cpack --config "$build/CPackConfig.cmake" -B "$work/pkg" >"$work/cpack.log" 2>&1) || {
  cat "$work/cpack.log" >&2
  fail "cpack failed"
}
deb=$work/pkg/tonvale_${version}_amd64.deb dev=$work/pkg/tonvale-dev_${version}_amd64.deb
[ -f "$deb" ] && [ -f "$dev" ] || fail "no tonvale_${version}_amd64.deb and tonvale-dev package: $(ls "$work/pkg")"
depends=$(dpkg-deb -f "$deb" Depends)
for lib in libc6 libflac12 libmp3lame0; do
  grep -q "$lib" <<<"$depends" || fail "Depends lacks $lib: $depends"
done

step "the unpacked package converts from its /usr tree and has its manual page"
dpkg-deb -x "$deb" "$work/root"
dpkg-deb -x "$dev" "$work/root"
rm -rf "$XDG_DATA_HOME"
run_travex "$work/root/usr/bin/travex" -infile="$source/samples/sample.flac" -outfile="$work/out/deb.mp3" -convert_to=mp3
[ -s "$work/out/deb.mp3" ] || fail "the packaged travex wrote nothing"
[ -f "$work/root/usr/include/tonvale/plugin.h" ] || fail "the -dev package lacks the header"
if command -v man >/dev/null; then
  MANWIDTH=80 man -l "$work/root/usr/share/man/man1/travex.1.gz" >"$work/man.txt" 2>/dev/null || true
  grep -q '^TRAVEX(1) .*Tonvale Manual' "$work/man.txt" || fail "man doesn't show the travex page"
  # Every page renders without a complaint from groff.
  for page in "$work"/root/usr/share/man/man*/*; do
    MANWIDTH=80 man --warnings -l "$page" 2>"$work/man-warnings.txt" >/dev/null || true
    [ ! -s "$work/man-warnings.txt" ] || fail "$(basename "$page"): $(cat "$work/man-warnings.txt")"
  done
fi

if [ "${TV_LINTIAN:-}" = 1 ]; then
  step "lintian"
  lintian --no-tag-display-limit "$deb" "$dev" | tee "$work/lintian.txt" || true
  ! grep -q '^E:' "$work/lintian.txt" || fail "lintian reports errors"
fi
echo "install and package test passed"
