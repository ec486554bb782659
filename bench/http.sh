#!/usr/bin/env bash
# Whole-process timing of a loopback download of a 256 MiB file by tvget beside curl, over http
# and over https from the same lighttpd in the same run, with tvget's peak memory. Runs of a
# pair alternate so that both see the same machine load.
#   bench/http.sh [build folder, default build] [runs per tool, default 5]
# Use a Release build of tvget.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)
runs=${2:-5}
tvget=$build/bin/tvget
[[ -x $tvget ]] || { echo "missing $tvget" >&2; exit 2; }
for t in lighttpd curl openssl /usr/bin/time; do
    command -v $t >/dev/null || { echo "$t is needed (scripts/packages.txt)" >&2; exit 2; }
done
[[ -e /usr/lib/lighttpd/mod_openssl.so ]] || { echo "lighttpd's mod_openssl is needed" >&2; exit 2; }

work=$(mktemp -d)
pid=
cleanup() { [[ -n $pid ]] && kill "$pid" 2>/dev/null; rm -rf "$work"; }
trap cleanup EXIT
mkdir -p "$work/www"
head -c $((256 << 20)) /dev/urandom > "$work/www/big.bin"
cd "$work"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 -subj /CN=localhost \
    -addext subjectAltName=DNS:localhost -keyout key.pem -out cert.pem 2>/dev/null
cat key.pem cert.pem > both.pem
# Ports picked at random; lighttpd refuses to start on one in use, and the script stops.
http=$(shuf -i 20000-40000 -n 1); https=$((http + 1))
cat > lighttpd.conf <<CONF
server.document-root = "$work/www"
server.bind = "127.0.0.1"
server.port = $http
server.modules = ("mod_openssl")
\$SERVER["socket"] == "127.0.0.1:$https" { ssl.engine = "enable" ssl.pemfile = "$work/both.pem" }
CONF
lighttpd -D -f lighttpd.conf & pid=$!
for _ in $(seq 100); do curl -s -o /dev/null "http://127.0.0.1:$http/" && break; sleep 0.1; done
kill -0 "$pid" || { echo "lighttpd did not start" >&2; exit 1; }

now() { date +%s%N; }
median() { printf '%s\n' "$@" | sort -n | awk '{a[NR]=$1} END {print (NR%2) ? a[(NR+1)/2] : int((a[NR/2]+a[NR/2+1])/2)}'; }
secs() { awk -v n="$1" 'BEGIN {printf "%.2f s", n / 1e9}'; }

export SSL_CERT_FILE=$work/cert.pem
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg)"
for scheme in http https; do
    port=$http; [[ $scheme == https ]] && port=$https
    url="$scheme://localhost:$port/big.bin"
    a=() b=()
    for ((i = 0; i < runs; i++)); do
        start=$(now); curl -s --cacert cert.pem -o out.bin "$url"; rm -f out.bin; a+=($(( $(now) - start )))
        start=$(now); /usr/bin/time -f %M -o rss.txt "$tvget" -o out.bin "$url"; b+=($(( $(now) - start )))
        [[ $(stat -c %s out.bin) == $((256 << 20)) ]] || { echo "tvget fetched a wrong size" >&2; exit 1; }
        rm -f out.bin
        rss=$(cat rss.txt)
    done
    ta=$(median "${a[@]}"); tb=$(median "${b[@]}")
    printf '  %-6s curl %8s  tvget %8s  tvget/curl %s  tvget peak %s kB\n' "$scheme" "$(secs "$ta")" "$(secs "$tb")" \
        "$(awk -v a="$ta" -v b="$tb" 'BEGIN {printf "%.3f", b / a}')" "$rss"
done
