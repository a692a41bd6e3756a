#!/usr/bin/env bash
# Makes sure the Wine prefix $1 exists and is set up for our runs: no prompts for Mono or
# Gecko, "Arial" drawn with the metric-compatible Liberation Sans (Wine has no Arial),
# Japanese text in the program's fonts drawn from IPA P Gothic (linked as Windows links its
# own CJK fonts; not to Tahoma, whose link would change the dialog units), and
# Wine's null graphics driver unless $2 is "x11" (pictures under Xvfb), and no debugger
# started for a crashing program (it would wait for input and hang the test). Idempotent and
# safe to call from several processes at once.
set -euo pipefail
prefix=$1
driver=${2:-null}
mkdir -p "$prefix"
exec 9>"$prefix.lock"
flock 9
[ -f "$prefix/.hollin-ready-7" ] && exit 0
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
echo "[wine] setting up prefix $prefix" >&2
wineboot -i >/dev/null 2>&1 || true
if [ "$driver" = null ]; then
  wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /t REG_SZ /d null /f >/dev/null 2>&1
fi
wine reg add 'HKCU\Software\Wine\Fonts\Replacements' /v Arial /t REG_SZ \
  /d "Liberation Sans" /f >/dev/null 2>&1
links='HKLM\Software\Microsoft\Windows NT\CurrentVersion\FontLink\SystemLink'
# Wine links by the name of the face it picked, so the bold face needs its own entry.
for face in "Liberation Sans" "Liberation Sans Bold" Arial "MS Shell Dlg" "Microsoft Sans Serif"; do
  wine reg add "$links" /v "$face" /t REG_MULTI_SZ /d "ipagp.ttf,IPAPGothic" /f >/dev/null 2>&1
done
wine reg add 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\AeDebug' /v Debugger \
  /t REG_SZ /d "" /f >/dev/null 2>&1
wineserver -w
touch "$prefix/.hollin-ready-7"
