#!/usr/bin/env bash
# Makes sure the Wine prefix $1 exists and is set up for headless runs:
# Wine's null graphics driver, no prompts for Mono or Gecko. Idempotent and
# safe to call from several processes at once.
set -euo pipefail
prefix=$1
mkdir -p "$prefix"
exec 9>"$prefix.lock"
flock 9
[ -f "$prefix/.hollin-ready" ] && exit 0
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
echo "[wine] creating prefix $prefix" >&2
wineboot -i >/dev/null 2>&1 || true
wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ /d null /f >/dev/null 2>&1
wineserver -w
touch "$prefix/.hollin-ready"
