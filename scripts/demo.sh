#!/usr/bin/env bash
# The main job, as an administrator sees it: a silent installation of the agent into a
# fresh Wine prefix against a local backend, an installation over it (an upgrade), and a
# silent uninstallation under a policy that asks for a password, the same through the MSI
# package; then, under Xvfb, a windowed installation and uninstallation driven to their
# result screens.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

echo "== Building"
scripts/build.sh >/dev/null

demo=$root/build/demo
package=$root/build/package
rm -rf "$demo"
mkdir -p "$demo"

export WINEPREFIX=$demo/prefix WINEDEBUG=-all
echo "== Fresh Wine prefix in $WINEPREFIX"
scripts/wine-prefix.sh "$WINEPREFIX"
wineserver -p >/dev/null 2>&1 </dev/null
tests/testbed/backend.sh start "$demo/backend"
trap 'tests/testbed/backend.sh stop "$demo/backend"; wineserver -k 2>/dev/null || true' EXIT
wine cmd /c exit >/dev/null 2>&1 </dev/null || true
port=$(cat "$demo/backend/backend.port")
echo "== Local backend on 127.0.0.1:$port"
# This machine already has .NET Framework 4.8, as most do.
wine reg add 'HKLM\SOFTWARE\Microsoft\NET Framework Setup\NDP\v4\Full' /v Release \
    /t REG_DWORD /d 528040 /f >/dev/null 2>&1

meaning() {
    case $1 in
        0x00000000) echo "success" ;;
        0x00000001) echo "another setup is running in this session" ;;
        0x00000005) echo "silent uninstall, but the agent is not running" ;;
        0x10000005) echo "installed; a restart finishes it" ;;
        0x80000052) echo "a restart is needed first" ;;
        0x80000060) echo "silent run without administrator rights" ;;
        0x80000064) echo "the backend says this installer is no longer valid" ;;
        0x80000031) echo "nothing is installed" ;;
        0x80000017) echo "the agent refused the password" ;;
        0x80000157) echo "the hand-over program or the agent could not be started" ;;
        *) echo "see the log" ;;
    esac
}

show() { printf '\n-- %s\n' "$1"; }
w() { wine "$@" 2>/dev/null | tr -d '\r'; }

run() {
    local what=$1; shift
    local code
    code=$(timeout 600 wine "$root/build/bin/launch.exe" "$(winepath -w "$package/setup.exe")" "$@" 2>/dev/null | tr -d '\r')
    printf '\n$ setup.exe %s\n  (%s)\n  exit code %s: %s\n' "$*" "$what" "$code" "$(meaning "$code")"
}

state() {
    show "service ClientManager"
    w sc query ClientManager | grep -E 'STATE' | sed 's/^ */   /' || echo "   (not registered)"
    w reg query 'HKLM\System\CurrentControlSet\Services\ClientManager' |
        grep -E 'ImagePath|Start |DisplayName|Type ' | sed 's/^ */   /' || true
    show "uninstall entry"
    w reg query 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\Zelko Business' |
        sed -n '3,$p' | sed 's/^ */   /' || true
    data="$WINEPREFIX/drive_c/ProgramData/ZELKO Software/Business Agent"
    show "agentconfig.conf"
    sed 's/^/   /' "$data/agentconfig.conf"
    show "runtime settings"
    w reg query 'HKLM\SOFTWARE\ZELKO Software' /s | grep -v '^$' | sed 's/^ */   /'
    show "program folder"
    ls -1 "$WINEPREFIX/drive_c/Program Files/ZELKO Software/Business Agent" | sed 's/^/   /'
}

echo "== Package folder $package:"
ls -1 "$package" | sed 's/^/   /'

run "silent first installation, German, with a remote deployment id" \
    /i -sil 1 -tok demo-invite-token-0123456789abcdef -svr "http://127.0.0.1:$port/demo/accept" \
    -lid 11 -rdid rd-42
state
show "installer log (last lines)"
tail -n 12 "$WINEPREFIX/drive_c/ProgramData/ZELKO Software/Business Agent/log/agentinstaller.log" |
    cut -c1-160 | sed 's/^/   /'

run "installation over the installed agent (upgrade), same invite" \
    /i -sil 1 -tok demo-invite-token-0123456789abcdef -svr "http://127.0.0.1:$port/demo/accept"
state

run "an installer whose invite the backend no longer knows, with a record for a deployment tool" \
    /i -sil 1 -tok demo-invite-token-0123456789abcdef -svr "http://127.0.0.1:$port/demo/gone" \
    -result 'C:\gone-run.json'
show "its record, C:\\gone-run.json (docs/deployment.md tells how to read it)"
sed 's/^/   /' "$WINEPREFIX/drive_c/gone-run.json"
show "service after the refused installation"
w sc query ClientManager | grep -E 'STATE' | sed 's/^ */   /' || true

# The console's policy, as the agent keeps it in its database: a password is required.
db="$WINEPREFIX/drive_c/ProgramData/ZELKO Software/Business Agent/database"
mkdir -p "$db"
python3 - "$db/agent.db" <<'PY2'
import sqlite3, sys
con = sqlite3.connect(sys.argv[1])
con.execute("CREATE TABLE policy (uninstall_requires_password INTEGER, uninstall_password TEXT)")
con.execute("INSERT INTO policy VALUES (1, 'S3cret!')")
con.commit()
PY2
show "policy in agent.db: a password is required to uninstall"

b64() { printf '%s' "$1" | base64; }
run "silent uninstall with a wrong password" /u -sil 1 -password "$(b64 wrong)"
show "service after the refused uninstall"
w sc query ClientManager | grep -E 'STATE' | sed 's/^ */   /' || true

run "silent uninstall with the right password" /u -sil 1 -password "$(b64 'S3cret!')"
show "what is left on the machine"
w sc query ClientManager | grep -E 'STATE' | sed 's/^ */   /' || echo "   service ClientManager: gone"
for folder in "Program Files" "ProgramData"; do
    if [ -e "$WINEPREFIX/drive_c/$folder/ZELKO Software/Business Agent" ]; then
        echo "   C:\\$folder\\ZELKO Software\\Business Agent: still there"
    else
        echo "   C:\\$folder\\ZELKO Software\\Business Agent: removed"
    fi
done
w reg query 'HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Uninstall\Zelko Business' >/dev/null 2>&1 &&
    echo "   uninstall entry: still there" || echo "   uninstall entry: removed"
w reg query 'HKLM\SOFTWARE\ZELKO Software\Business Agent' >/dev/null 2>&1 &&
    echo "   runtime settings: still there" || echo "   runtime settings: removed"

run "silent uninstall when nothing is installed" /u -sil 1

echo
# The MSI, as Group Policy or an MSI-only tool would deploy it.
msi=$(ls "$root"/build/msi/business-agent-*.msi)
msiexec() {
    local code
    code=$(timeout 600 wine "$root/build/bin/launch.exe" 'C:\windows\system32\msiexec.exe' "$@" \
        /l*v 'C:\agent-msi.log' 2>/dev/null | tr -d '\r')
    printf '\n$ msiexec %s\n  exit code %s\n' "$(sed 's/TOKEN=[^ ]*/TOKEN=.../' <<<"$*")" "$code"
    tr -d '\0' <"$WINEPREFIX/drive_c/agent-msi.log" | grep -a "Business Agent setup:" | sed 's/^/   /' || true
}
echo
echo "== The MSI for Group Policy, $(basename "$msi")"
msiexec /i "$(winepath -w "$msi")" /qn /norestart TOKEN=demo-invite-token-0123456789abcdef \
    SERVER="http://127.0.0.1:$port/demo/accept"
show "service after the MSI's installation"
w sc query ClientManager | grep -E 'STATE' | sed 's/^ */   /' || true
msiexec /x "$(winepath -w "$msi")" /qn
show "service after the MSI's removal"
w sc query ClientManager | grep -E 'STATE' | sed 's/^ */   /' || echo "   service ClientManager: gone"

echo "== Windowed runs under Xvfb: an installation and an uninstallation, driven to the end"
# Wine enumerates no logged-on session, so every run would be silent there. The demo puts
# a session enumeration that reports this session active into this prefix's system folder,
# where setup.exe takes its system libraries from.
windowed=$demo/windowed-package
mkdir -p "$windowed"
cp "$package"/* "$windowed"/
system32=$WINEPREFIX/drive_c/windows/system32
[ -f "$system32/wtsapi32.dll.hollin-original" ] ||
    cp "$system32/wtsapi32.dll" "$system32/wtsapi32.dll.hollin-original"
cp "$root/build/bin/session_active/wtsapi32.dll" "$system32/wtsapi32.dll"
wine reg add 'HKCU\Software\Wine\AppDefaults\setup.exe\DllOverrides' /v wtsapi32 \
    /t REG_SZ /d native,builtin /f >/dev/null 2>&1
wine reg delete 'HKCU\Software\Wine\Drivers' /v Graphics /f >/dev/null 2>&1 || true
setup_path=$(winepath -w "$windowed/setup.exe" 2>/dev/null)
# Wine's desktop starts again inside Xvfb, where it finds the display.
wineserver -k 2>/dev/null || true
wineserver -w 2>/dev/null || true
xvfb-run -a -s "-screen 0 1280x1024x24" bash -c '
    pilot=$1; setup=$2; port=$3; demo=$4
    echo "-- setup.exe /i -tok ... -svr ... (a window, no -sil)"
    wine "$pilot" "Z:${demo//\//\\}\\windowed-install.bmp" "$setup" /i \
        -tok demo-invite-token-0123456789abcdef -svr "http://127.0.0.1:$port/demo/accept" \
        2>/dev/null | tr -d "\r" | sed "s/^/   /"
    echo "-- setup.exe /u (a window, no -sil)"
    wine "$pilot" "Z:${demo//\//\\}\\windowed-uninstall.bmp" "$setup" /u \
        2>/dev/null | tr -d "\r" | sed "s/^/   /"
    wineserver -k 2>/dev/null || true
' _ "$root/build/bin/dialog_pilot.exe" "$setup_path" "$port" "$demo"
for picture in windowed-install windowed-uninstall; do
    if [ -f "$demo/$picture.bmp" ]; then
        /usr/bin/convert-im6.q16 "$demo/$picture.bmp" -strip "$demo/$picture.png"
        echo "   final screen saved: $demo/$picture.png"
    fi
done
w sc query ClientManager | grep -E 'STATE' | sed 's/^ */   /' || echo "   service ClientManager: gone"
