#!/usr/bin/env bash
# Installs the Debian packages of a list (default scripts/packages.txt) that are not installed yet.
#   scripts/deps.sh [LIST]
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
missing=()
while read -r pkg _; do
  case "$pkg" in ''|'#'*) continue ;; esac
  dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || missing+=("$pkg")
done < "${1:-$here/packages.txt}"
[ ${#missing[@]} -eq 0 ] && exit 0
echo "Installing: ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -eq 0 ] || sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}"
