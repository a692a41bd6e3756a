#!/usr/bin/env bash
# Shows what setup.exe does, as an administrator would see it, in a fresh Wine prefix.
# For now: how it answers a few command lines; each run prints its exit code.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

echo "== Building"
scripts/build.sh >/dev/null

demo=$root/build/demo
package=$demo/package
rm -rf "$demo"
mkdir -p "$package"
# The folder an administrator receives: the setup program and the agent beside it.
cp build/bin/setup.exe build/bin/agentsvc.exe "$package/"

export WINEPREFIX=$demo/prefix WINEDEBUG=-all
echo "== Fresh Wine prefix in $WINEPREFIX"
scripts/wine-prefix.sh "$WINEPREFIX"
wineserver -p >/dev/null 2>&1 </dev/null
trap 'wineserver -k 2>/dev/null || true' EXIT
wine cmd /c exit >/dev/null 2>&1 </dev/null || true

meaning() {
    case $1 in
        0x00000000) echo "installation finished" ;;
        0x00000001) echo "another setup is running in this session" ;;
        0x00000002) echo "windowed run: no window, or neither install nor uninstall asked for" ;;
        0x00000003) echo "windowed run: the dialog refused to start" ;;
        0x00000004) echo "silent run with neither install nor uninstall" ;;
        0x00000005) echo "silent uninstall, but the agent is not running" ;;
        0x80000017) echo "the command line could not be parsed (Missing parameters)" ;;
        0x80000060) echo "silent run without administrator rights" ;;
        0x80000157) echo "the hand-over program or the agent could not be started" ;;
        0x80004001) echo "that sequence is not built yet" ;;
        0x0000C10E) echo "the testbed agent's own exit code for a clone run" ;;
        *) echo "exit code of the program run" ;;
    esac
}

run() {
    local what=$1; shift
    local shown="setup.exe $*"
    local code
    code=$(wine "$root/build/bin/launch.exe" "$(winepath -w "$package/setup.exe")" "$@" | tr -d '\r')
    printf '\n$ %s\n  (%s)\n  exit code %s: %s\n' "$shown" "$what" "$code" "$(meaning "$code")"
}

echo "== Package folder $package:"
ls -1 "$package" | sed 's/^/   /'

run "no arguments" 
run "an unknown mode letter" /x
run "brand id 2 hands over to setup2.exe, which this package lacks" /i -bid 2 -tok abc
run "clone run: the agent beside setup runs with --nodaemon --clone" c
run "silent uninstall while no agent runs" /u -sil 1
