#!/usr/bin/env bash
# Demo: the gateway as a daemon on a demo store behind a private nginx on
# 127.0.0.1:8080 (or the next free port), a sample call shown with curl and
# with python3-zeep, then how to call and stop it. Everything lives in ./run/demo.
#   deploy/demo/run-demo.sh BUILD_DIR    start (again: restarts cleanly)
#   deploy/demo/run-demo.sh --stop       stop what it started
set -euo pipefail
TOP=$(cd "$(dirname "$0")/../.." && pwd)
RUN=$TOP/run/demo
PY=/usr/bin/python3
FRONT="$PY $TOP/deploy/nginx/frontend.py"
DEFAULT_SOCKET=/tmp/wsbridge.socket
# Demo users and passwords (roles come from the demo store: admin and
# operator have role leaves, anybody else is a viewer).
USERS=(admin:admin-demo operator:operator-demo viewer:viewer-demo)

say() { printf '\n== %s\n' "$*"; }
die() { printf 'run-demo: %s\n' "$*" >&2; exit 1; }

wait_for() {  # wait_for SECONDS COMMAND...: polls COMMAND every 0.1 s
    local deadline=$((SECONDS + $1)); shift
    until "$@"; do
        [ $SECONDS -lt $deadline ] || return 1
        sleep 0.1
    done
}

# True when some process listens on the unix socket PATH. Looked up in
# /proc/net/unix rather than by connecting: an empty connection would hold
# up a single-threaded FastCGI server.
listening_on() {
    awk -v p="$1" '$NF == p && $4 == "00010000" { found = 1 } END { exit !found }' /proc/net/unix
}

# PIDs of the demo's wsbridge: a wsbridge whose command line names this run
# folder's logs.
demo_pid() {
    local d cmd
    for d in /proc/[0-9]*; do
        cmd=$( { tr '\0' ' ' < "$d/cmdline"; } 2>/dev/null) || continue
        case "$cmd" in
            *wsbridge\ *"-h $RUN/logs/deadband.db "*) echo "${d#/proc/}" ;;
        esac
    done
}

gone() { ! kill -0 "$1" 2>/dev/null; }

stop_demo() {
    if [ -d "$RUN/nginx" ]; then
        $FRONT stop --prefix "$RUN/nginx" || die "nginx of $RUN/nginx did not stop"
    fi
    local pid
    local f
    for f in "$RUN/devsim.pid" "$RUN/devhandler.pid"; do
        [ -f "$f" ] || continue
        pid=$(cat "$f")
        # Both stop after the current step or pass on SIGTERM.
        if kill -0 "$pid" 2>/dev/null && grep -qa "$RUN" "/proc/$pid/cmdline" 2>/dev/null; then
            kill -TERM "$pid" 2>/dev/null || true
            wait_for 30 gone "$pid" || die "process $pid ($f) did not stop"
        fi
        rm -f "$f"
    done
    for pid in $(demo_pid); do
        kill -TERM "$pid" 2>/dev/null || true
        # The loop notices the signal within one 5 s select turn.
        wait_for 30 gone "$pid" || die "wsbridge ($pid) did not stop"
    done
    rm -f "$RUN/wsbridge.pid"
}

if [ "${1:-}" = "--stop" ]; then
    stop_demo
    echo "demo stopped"
    exit 0
fi

BUILD=$(cd "${1:?usage: run-demo.sh BUILD_DIR | --stop}" && pwd)
WSBRIDGE=$BUILD/common/source/wsbridge
CDSCTL=$(find "$BUILD/tools" -maxdepth 2 -name cdsctl -type f -perm -u+x 2>/dev/null | head -1)
DEVSIM=$BUILD/tools/devsim/devsim
DEVHANDLER=$BUILD/tools/devhandler/devhandler
[ -x "$WSBRIDGE" ] || die "not built: $WSBRIDGE"
[ -n "$CDSCTL" ] || die "not built: cdsctl"
ls "$BUILD"/wsdl/*.wsdl >/dev/null 2>&1 || die "no WSDL in $BUILD/wsdl"

say "stopping an earlier demo, if any"
stop_demo

say "demo store and folders in $RUN"
mkdir -p "$RUN/logs" "$RUN/waves" "$RUN/nginx"
rm -f "$RUN/cds.db" "$RUN"/cds.db-*
"$CDSCTL" --store "$RUN/cds.db" import "$TOP/deploy/demo/demo-store.json"
rm -f "$RUN"/logs/*.db "$RUN"/waves/*.cfg "$RUN"/waves/*.dat

# The simulated meter: 90 simulated minutes of history first (a breaker trip
# with its disturbance record among them), then live at 10 simulated seconds
# per second. The device handler answers commands for the meter.
SIM_LOGS=(--store "$RUN/cds.db" --delta-log "$RUN/logs/deadband.db"
          --alarm-log "$RUN/logs/alarms.db" --system-log "$RUN/logs/system.db"
          --trend-log "$RUN/logs/interval-trends.db" --wave-dir "$RUN/waves")
if [ -x "$DEVSIM" ]; then
    say "simulated meter: history, then live (log $RUN/devsim.log)"
    "$DEVSIM" "${SIM_LOGS[@]}" --speed 60 --steps 90 2>> "$RUN/devsim.log" \
        || die "devsim failed (see $RUN/devsim.log)"
    nohup "$DEVSIM" "${SIM_LOGS[@]}" --interval 1 --speed 10 >> "$RUN/devsim.log" 2>&1 &
    echo $! > "$RUN/devsim.pid"
fi
if [ -x "$DEVHANDLER" ]; then
    "$DEVHANDLER" --store "$RUN/cds.db" --device /Devices/Meter1 --once \
        > "$RUN/devhandler.log" 2>&1 || die "devhandler failed (see $RUN/devhandler.log)"
    nohup "$DEVHANDLER" --store "$RUN/cds.db" --device /Devices/Meter1 \
        >> "$RUN/devhandler.log" 2>&1 &
    echo $! > "$RUN/devhandler.pid"
fi

SOCKET=$DEFAULT_SOCKET
if listening_on "$DEFAULT_SOCKET"; then
    SOCKET=$RUN/wsbridge.socket
    echo "$DEFAULT_SOCKET is in use by another process; using $SOCKET"
fi
rm -f "$RUN/wsbridge.socket"

say "starting wsbridge (daemon, FastCGI on $SOCKET)"
env_socket=()
[ "$SOCKET" = "$DEFAULT_SOCKET" ] || env_socket=(WSBRIDGE_SOCKET="$SOCKET")
env CDS_STORE="$RUN/cds.db" "${env_socket[@]}" "$WSBRIDGE" \
    -h "$RUN/logs/deadband.db" -a "$RUN/logs/alarms.db" -s "$RUN/logs/system.db" \
    -t "$RUN/logs/interval-trends.db" -w "$RUN/waves" \
    || die "wsbridge did not start"
wait_for 20 listening_on "$SOCKET" || die "wsbridge is not listening on $SOCKET"
demo_pid > "$RUN/wsbridge.pid"
echo "wsbridge pid $(cat "$RUN/wsbridge.pid")"

say "starting nginx (prefix $RUN/nginx)"
user_args=()
for u in "${USERS[@]}"; do user_args+=(--user "$u"); done
PORT=$($FRONT start --prefix "$RUN/nginx" --socket "$SOCKET" --wsdl-dir "$BUILD/wsdl" \
    --port 8080 "${user_args[@]}")
URL=http://127.0.0.1:$PORT/wsbridge
echo "nginx on 127.0.0.1:$PORT"

REQUEST='<?xml version="1.0" encoding="UTF-8"?>
<SOAP-ENV:Envelope xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/"
    xmlns:nsc1="http://device-ws.example.com/Corvane">
  <SOAP-ENV:Body>
    <nsc1:getDefaultLocale><nsc1:options></nsc1:options></nsc1:getDefaultLocale>
  </SOAP-ENV:Body>
</SOAP-ENV:Envelope>'

# The raw POST; curl when installed, else the same request from Python.
call() {
    if command -v curl >/dev/null; then
        curl -s -u admin:admin-demo -H 'Content-Type: text/xml; charset=utf-8' \
            -H 'SOAPAction: ""' --data-binary "$REQUEST" "$URL"
    else
        REQUEST=$REQUEST $PY -c 'import os, sys, requests
r = requests.post(sys.argv[1], data=os.environ["REQUEST"].encode(), auth=("admin", "admin-demo"),
                  headers={"Content-Type": "text/xml; charset=utf-8", "SOAPAction": "\"\""})
print(r.text)' "$URL"
    fi
}
answers() { call | grep -q "en-US"; }
wait_for 20 answers || die "the gateway does not answer (see $RUN/nginx/logs/error.log)"

say "sample call: a raw SOAP 1.1 POST to $URL as admin"
echo "curl -u admin:admin-demo -H 'Content-Type: text/xml; charset=utf-8' -H 'SOAPAction: \"\"' \\"
echo "     --data-binary @request.xml $URL"
echo "-- request.xml:"
echo "$REQUEST"
echo "-- response:"
call
echo

WSDLS=$(cd "$BUILD/wsdl" && ls *.wsdl)
say "the same call with python3-zeep from the served WSDL"
$PY - "$PORT" $WSDLS <<'PYEOF'
import sys
import requests
import zeep
from zeep.transports import Transport

port, names = sys.argv[1], sys.argv[2:]
session = requests.Session()
session.auth = ("admin", "admin-demo")
for name in names:
    client = zeep.Client("http://127.0.0.1:%s/wsbridge/wsdl/%s" % (port, name),
                         transport=Transport(session=session))
    for service in client.wsdl.services.values():
        for pname, port_ in service.ports.items():
            if "getDefaultLocale" in port_.binding._operations:
                svc = client.bind(service.name, pname)
                print("client = zeep.Client('http://127.0.0.1:%s/wsbridge/wsdl/%s')" % (port, name))
                print("client.service.getDefaultLocale(options='') ->",
                      repr(svc.getDefaultLocale(options="")))
                print("client.service.getSupportedLocales(options='') ->",
                      svc.getSupportedLocales(options=""))
                sys.exit(0)
sys.exit("no WSDL declares getDefaultLocale")
PYEOF

if [ -x "$DEVSIM" ] && [ -x "$DEVHANDLER" ]; then
    say "a tour of the live meter (deploy/demo/tour.py)"
    $PY "$TOP/deploy/demo/tour.py" --url "$URL" --wave-dir "$RUN/waves" \
        || die "the tour was not answered in full (logs in $RUN)"
fi

say "the demo gateway is running"
cat <<EOF
  SOAP endpoint : $URL   (HTTP POST, basic authentication)
  WSDL / XSD    : http://127.0.0.1:$PORT/wsbridge/wsdl/<file>, files:
$(for w in $WSDLS; do echo "                    http://127.0.0.1:$PORT/wsbridge/wsdl/$w"; done)
  users         : admin / admin-demo, operator / operator-demo, viewer / viewer-demo
  store         : $RUN/cds.db   (inspect: $CDSCTL --store $RUN/cds.db tree /)
  nginx logs    : $RUN/nginx/logs/
  simulator     : /Devices/Meter1 (log $RUN/devsim.log); tour again:
                  $PY $TOP/deploy/demo/tour.py --url $URL --wave-dir $RUN/waves
  stop          : ./setup.sh stop   (or deploy/demo/run-demo.sh --stop)
EOF
