#!/usr/bin/env bash
# Host benchmark: requests/s of nsc1:getDefaultLocale through nginx to the
# gateway, beside a null FastCGI responder behind the same nginx, measured in
# alternating rounds of one run; then the gateway's resident memory over
# 100,000 requests. Loopback only; every phase is bounded in count and time.
#   bench/host/run_bench.sh BUILD_DIR [ROUND_REQUESTS] [ROUNDS]
set -euo pipefail
BUILD=$(cd "${1:?usage: run_bench.sh BUILD_DIR [ROUND_REQUESTS] [ROUNDS]}" && pwd)
ROUND=${2:-20000}
ROUNDS=${3:-3}
TOP=$(cd "$(dirname "$0")/../.." && pwd)
PY=/usr/bin/python3
FRONT="$PY $TOP/deploy/nginx/frontend.py"
WSBRIDGE=$BUILD/common/source/wsbridge
CDSCTL=$(find "$BUILD/tools" -maxdepth 2 -name cdsctl -type f -perm -u+x | head -1)
NULLR=$BUILD/bench/host/bench_null_responder
LOADGEN=$BUILD/bench/host/bench_loadgen
for f in "$WSBRIDGE" "$CDSCTL" "$NULLR" "$LOADGEN"; do
    [ -x "$f" ] || { echo "not built: $f" >&2; exit 1; }
done

WORK=$(mktemp -d /tmp/wsb-bench.XXXXXX)
GW_PID=""; NULL_PID=""
cleanup() {
    $FRONT stop --prefix "$WORK/nginx" >/dev/null 2>&1 || true
    for p in $GW_PID $NULL_PID; do kill -TERM "$p" 2>/dev/null || true; done
    for p in $GW_PID $NULL_PID; do wait "$p" 2>/dev/null || true; done
    rm -rf "$WORK"
}
trap cleanup EXIT

wait_for() {  # wait_for SECONDS COMMAND...: polls COMMAND every 0.05 s
    local deadline=$((SECONDS + $1)); shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.05
    done
}

"$CDSCTL" --store "$WORK/cds.db" import "$TOP/deploy/demo/demo-store.json" >/dev/null
(cd "$WORK" && CDS_STORE=$WORK/cds.db WSBRIDGE_SOCKET=$WORK/wsbridge.socket \
    exec "$WSBRIDGE" -d -h "$WORK/deadband.db" -a "$WORK/alarms.db" -s "$WORK/system.db" \
    -t "$WORK/interval-trends.db" 2>"$WORK/wsbridge.stderr" >/dev/null) &
GW_PID=$!
"$NULLR" "$WORK/null.socket" 2>"$WORK/null.stderr" &
NULL_PID=$!
wait_for 20 grep -q "FCGI app listening" "$WORK/wsbridge.stderr"
wait_for 20 test -S "$WORK/null.socket"

# The null responder gets the very same location block as the gateway.
mkdir -p "$WORK/nginx/conf.d" "$WORK/nginx/locations.d"
echo "upstream null_fcgi { server unix:$WORK/null.socket; }" > "$WORK/nginx/conf.d/null.conf"
sed -e '/^# Contract files/,$d' -e 's#location = /wsbridge#location = /null#' \
    -e 's#fastcgi_pass *wsbridge_fcgi#fastcgi_pass null_fcgi#' \
    "$TOP/deploy/nginx/wsbridge-locations.conf" > "$WORK/nginx/locations.d/null.conf"
PORT=$($FRONT start --prefix "$WORK/nginx" --socket "$WORK/wsbridge.socket" \
    --wsdl-dir "$BUILD/wsdl" --user bench:bench-pw)

cat > "$WORK/body.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<SOAP-ENV:Envelope xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/" xmlns:nsc1="http://device-ws.example.com/Corvane"><SOAP-ENV:Body><nsc1:getDefaultLocale><nsc1:options></nsc1:options></nsc1:getDefaultLocale></SOAP-ENV:Body></SOAP-ENV:Envelope>
XML
curl -sf -u bench:bench-pw -H 'Content-Type: text/xml' --data-binary @"$WORK/body.xml" \
    "http://127.0.0.1:$PORT/wsbridge" | grep -q "en-US" || { echo "gateway does not answer" >&2; exit 1; }

cpu_ticks() { awk '{print $14 + $15}' "/proc/$1/stat"; }     # user + system
# nginx's one worker: the child of the master whose pid nginx wrote.
MASTER=$(cat "$WORK/nginx/nginx.pid")
WORKER=""
for d in /proc/[0-9]*; do
    st=$( { cat "$d/stat"; } 2>/dev/null) || continue
    st=${st##*) }                      # fields after the command name
    set -- $st
    if [ "$2" = "$MASTER" ]; then WORKER=${d#/proc/}; break; fi
done
[ -n "$WORKER" ] || { echo "no nginx worker found" >&2; exit 1; }
user_ticks() { awk '{print $14}' "/proc/$1/stat"; }
rss_kb() { awk '/^VmRSS:/ {print $2}' "/proc/$1/status"; }
HZ=$(getconf CLK_TCK)

load() {  # load PATH COUNT -> prints the rate
    "$LOADGEN" "$PORT" "$1" bench:bench-pw "$WORK/body.xml" "$2" 120 4 |
        sed -n 's/.*rate=\([0-9.]*\).*/\1/p'
}

echo "== warm-up"
load /null 2000 >/dev/null
load /wsbridge 2000 >/dev/null

echo "== rate: $ROUNDS alternating rounds of $ROUND requests, 4 keep-alive connections"
echo "(us/msg: CPU time, user + system, of the FastCGI process and of nginx's worker)"
printf "%-6s %12s %12s %8s %12s %12s %12s %12s\n" round "null req/s" "gw req/s" ratio \
    "null us/msg" "nginx(null)" "gw us/msg" "nginx(gw)"
ratios=(); nulls=(); gws=(); gw_user=(); null_user=()
per_msg() { awk -v a=$1 -v b=$2 -v n=$ROUND -v hz=$HZ 'BEGIN{printf "%.1f", (b-a)*1e6/hz/n}'; }
for r in $(seq 1 "$ROUNDS"); do
    n0=$(user_ticks $NULL_PID); nc0=$(cpu_ticks $NULL_PID); w0=$(cpu_ticks $WORKER)
    nr=$(load /null "$ROUND")
    n1=$(user_ticks $NULL_PID); nc1=$(cpu_ticks $NULL_PID); w1=$(cpu_ticks $WORKER)
    g0=$(user_ticks $GW_PID); gc0=$(cpu_ticks $GW_PID)
    gr=$(load /wsbridge "$ROUND")
    g1=$(user_ticks $GW_PID); gc1=$(cpu_ticks $GW_PID); w2=$(cpu_ticks $WORKER)
    ratio=$(awk -v g=$gr -v n=$nr 'BEGIN{printf "%.3f", g/n}')
    printf "%-6s %12s %12s %8s %12s %12s %12s %12s\n" "$r" "$nr" "$gr" "$ratio" \
        "$(per_msg $nc0 $nc1)" "$(per_msg $w0 $w1)" "$(per_msg $gc0 $gc1)" "$(per_msg $w1 $w2)"
    ratios+=("$ratio"); nulls+=("$nr"); gws+=("$gr")
    gw_user+=("$(per_msg $g0 $g1)")
    null_user+=("$(per_msg $n0 $n1)")
done
median() { printf "%s\n" "$@" | sort -g | awk '{a[NR]=$1} END{print a[int((NR+1)/2)]}'; }
echo "median: null $(median "${nulls[@]}") req/s, gateway $(median "${gws[@]}") req/s," \
     "ratio $(median "${ratios[@]}") (goal >= 0.8)"
echo "user CPU per message (median): null $(median "${null_user[@]}") us," \
     "gateway $(median "${gw_user[@]}") us"

echo "== memory: 100,000 requests to the gateway in chunks of 10,000"
rss=()
for i in $(seq 1 10); do
    load /wsbridge 10000 >/dev/null
    rss+=("$(rss_kb $GW_PID)")
done
echo "VmRSS kB after each 10,000: ${rss[*]}"
first=${rss[0]}; last=${rss[9]}
echo "resident after 100,000: $last kB (goal < 10240); growth first->last 10,000: $((last - first)) kB"
echo "gateway faults logged: $(grep -c "Failed in soap processing" "$WORK/wsbridge.stderr" || true)"
