#!/usr/bin/env bash
# Makes one MSI, the same bytes from the same inputs: the files go into a stage of their own
# with the commit's time as their time (the cabinet keeps it), wixl and msibuild run at that
# time (the summary keeps it), and the package code is derived from the content.
# Usage: make_msi.sh WXS OUTPUT STAGE EPOCH SUBJECT AUTHOR SOURCE=NAME...
# Run in the folder the .wxs names its sources from (STAGE/NAME).
set -euo pipefail
wxs=$1 output=$2 stage=$3 epoch=$4 subject=$5 author=$6
shift 6
rm -rf "$stage"
mkdir -p "$stage" "$(dirname "$output")"
for pair in "$@"; do
    cp "${pair%%=*}" "$stage/${pair#*=}"
    touch -d "@$epoch" "$stage/${pair#*=}"
done
at() { faketime -f "@$(date -u -d "@$epoch" '+%Y-%m-%d %H:%M:%S')" "$@"; }
rm -f "$output"
at wixl -a x64 -o "$output" "$wxs" 2>&1 | { grep -v -e GLib -e '^$' || true; }
# wixl knows no HideTarget: the deferred actions (3073) and the ones that give them their
# data (2099) keep the token and the password out of the log (+0x2000). Nor RemoveFile: the
# record of setup.exe's last run goes with the package (2: on removal).
at msibuild "$output" \
    -q 'UPDATE `CustomAction` SET `Type` = 11265 WHERE `Type` = 3073' \
    -q 'UPDATE `CustomAction` SET `Type` = 10291 WHERE `Type` = 2099' \
    -q "INSERT INTO \`RemoveFile\` (\`FileKey\`, \`Component_\`, \`FileName\`, \`DirProperty\`, \`InstallMode\`) VALUES ('LastRun', 'setup_exe', 'last-run.json', 'INSTALLDIR', 2)"
# wixl's package code is random: a fixed one first, then the one the content gives.
at msibuild "$output" -s "$subject" "$author" "x64;1033" "{00000000-0000-0000-0000-000000000000}"
code=$(python3 -c 'import hashlib, sys, uuid
print("{%s}" % str(uuid.UUID(hashlib.sha256(open(sys.argv[1], "rb").read()).hexdigest()[:32])).upper())' "$output")
at msibuild "$output" -s "$subject" "$author" "x64;1033" "$code"
