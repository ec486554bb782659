#!/usr/bin/env bash
# configure.sh DIR [cmake args...]: configures a Ninja build tree once, with ccache when present.
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
root=$(dirname "$here")
dir=$1; shift
args=(-G Ninja -S "$root" -B "$dir")
if command -v ccache >/dev/null 2>&1; then
  args+=(-DCMAKE_C_COMPILER_LAUNCHER=ccache -DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
fi
if [ ! -f "$dir/build.ninja" ]; then
  cmake "${args[@]}" "$@" >/dev/null
else
  cmake "$dir" "$@" >/dev/null
fi
