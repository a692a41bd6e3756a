#!/usr/bin/env bash
# start FOLDER: starts the backend in the background, its port in FOLDER/backend.port.
# stop FOLDER: ends it.
set -euo pipefail
folder=$2
case $1 in
start)
    mkdir -p "$folder"
    rm -f "$folder/backend.port"
    python3 "$(dirname "$0")/backend.py" "$folder/backend.port" "$folder/files" \
        >/dev/null 2>&1 </dev/null &
    echo $! >"$folder/backend.pid"
    for _ in $(seq 100); do
        [ -s "$folder/backend.port" ] && exit 0
        sleep 0.1
    done
    echo "backend did not start" >&2
    exit 1
    ;;
stop)
    [ -f "$folder/backend.pid" ] && kill "$(cat "$folder/backend.pid")" 2>/dev/null || true
    rm -f "$folder/backend.pid" "$folder/backend.port"
    ;;
esac
