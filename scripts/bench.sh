#!/usr/bin/env bash
# Measures the shipped package under Wine on this machine, side by side with a yardstick
# for each figure, prints a table and writes it into docs/benchmarks.md with the machine
# and the date. A report, not a test: nothing here fails on a slow figure.
#   size        the shipped setup.exe
#   start       start to exit of "setup.exe /x" (refused at once) against a program that
#               does nothing, both in this prefix; medians of several runs
#   install     a silent installation's wall time, and the engine's own time from the
#               first to the last line of its log
#   deployment  copying a 2,000-file, 90 MB tree that lies beside setup.exe, from the log,
#               against Wine's xcopy of the same tree in the same prefix
#   memory      the peak working set of setup.exe during the silent installation, against
#               a program that only loads the system libraries setup.exe links to
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

echo "== Building" >&2
scripts/build.sh >/dev/null

bench=$root/build/bench
package=$root/build/package
rm -rf "$bench"
mkdir -p "$bench"
export WINEPREFIX=$bench/prefix WINEDEBUG=-all
scripts/wine-prefix.sh "$WINEPREFIX"
wineserver -p >/dev/null 2>&1 </dev/null
tests/testbed/backend.sh start "$bench/backend"
trap 'tests/testbed/backend.sh stop "$bench/backend"; wineserver -k 2>/dev/null || true' EXIT
wine cmd /c exit >/dev/null 2>&1 </dev/null || true
port=$(cat "$bench/backend/backend.port")
wine reg add 'HKLM\SOFTWARE\Microsoft\NET Framework Setup\NDP\v4\Full' /v Release \
    /t REG_DWORD /d 528040 /f >/dev/null 2>&1

win() { winepath -w "$1" 2>/dev/null; }
# "<ms> <exit code> <peak working set bytes>" of one run: bench_run's own last line, after
# whatever the program itself printed (xcopy counts its files).
timed() { wine "$root/build/bin/bench_run.exe" "$@" 2>/dev/null | tr -d '\r' | tail -n 1; }
median() { sort -n | awk '{v[NR] = $1} END {print v[int((NR + 1) / 2)]}'; }
install_args() { echo "/i -sil 1 -tok bench-invite-token-0123456789 -svr http://127.0.0.1:$port/bench/accept"; }
data="$WINEPREFIX/drive_c/ProgramData/ZELKO Software/Business Agent"
log="$data/log/agentinstaller.log"
# Milliseconds since midnight of a log line's time stamp.
stamp_ms() { awk '{split($2, t, /[:.]/); print ((t[1] * 60 + t[2]) * 60 + t[3]) * 1000 + t[4]}'; }
uninstall() { timed "$(win "$1/setup.exe")" /u -sil 1 >/dev/null; }

echo "== Size" >&2
size=$(stat -c %s "$package/setup.exe")

echo "== Start-up, 11 runs each" >&2
cp "$root/build/bin/trivial_program.exe" "$bench/"
mkdir -p "$bench/start"
cp "$package"/* "$bench/start/"
for _ in $(seq 11); do
    timed "$(win "$bench/trivial_program.exe")" | awk '{print $1}' >>"$bench/trivial.ms"
    timed "$(win "$bench/start/setup.exe")" /x | awk '{print $1}' >>"$bench/setup.ms"
done
trivial_ms=$(median <"$bench/trivial.ms")
start_ms=$(median <"$bench/setup.ms")

echo "== Working set of a program with setup.exe's system libraries, 5 runs" >&2
cp "$root/build/bin/system_libraries_program.exe" "$bench/"
for _ in $(seq 5); do
    timed "$(win "$bench/system_libraries_program.exe")" | awk '{print $3}' >>"$bench/libraries.bytes"
done
libraries_bytes=$(median <"$bench/libraries.bytes")

echo "== Silent installation" >&2
mkdir -p "$bench/plain"
cp "$package"/* "$bench/plain/"
read -r install_ms install_code peak_bytes <<<"$(timed "$(win "$bench/plain/setup.exe")" $(install_args))"
first=$(head -1 "$log" | stamp_ms)
last=$(tail -1 "$log" | stamp_ms)
engine_ms=$((last - first))
uninstall "$bench/plain"

echo "== Deployment of 2,000 files, 90 MB" >&2
tree=$bench/tree
mkdir -p "$tree"
cp "$package"/* "$tree/"
python3 - "$tree/payload" <<'EOF'
import os, random, sys
random.seed(2000)
root = sys.argv[1]
sizes = [random.randint(1024, 89 * 1024) for _ in range(2000)]
scale = 90 * 1024 * 1024 / sum(sizes)
for index, size in enumerate(sizes):
    folder = os.path.join(root, "d%02d" % (index % 40), "e%d" % (index % 3))
    os.makedirs(folder, exist_ok=True)
    with open(os.path.join(folder, "f%04d.bin" % index), "wb") as out:
        out.write(random.randbytes(int(size * scale)))
EOF
tree_files=$(find "$tree" -type f | wc -l)
tree_mb=$(du -sb "$tree" | awk '{printf "%d", $1 / 1048576}')
rm -f "$log"
read -r _ deploy_code _ <<<"$(timed "$(win "$tree/setup.exe")" $(install_args))"
# Each step's first line in the log names it; the lines end in CR LF.
step_line() { awk -v step="$1" '{sub(/\r$/, "")} /step_runner/ && $NF == step {print; exit}' "$log"; }
copy_start=$(step_line copy-files | stamp_ms)
copy_end=$(step_line move-config-aside | stamp_ms)
deploy_ms=$((copy_end - copy_start))
uninstall "$tree"
read -r xcopy_ms _ _ <<<"$(timed 'C:\windows\system32\xcopy.exe' "$(win "$tree")" \
    "$(win "$bench/xcopy-target")" /E /I /Q /Y)"

machine="$(uname -m), $(nproc) cores, $(awk -F': ' '/model name/ {print $2; exit}' /proc/cpuinfo), $(wine --version)"
verdict() { if [ "$1" = 1 ]; then echo "met"; else echo "missed"; fi; }
table=$(cat <<EOF
Measured by \`scripts/bench.sh\` on $(date -u +%Y-%m-%d): $machine.

| figure | measured | yardstick | goal | |
|---|---|---|---|---|
| shipped setup.exe | $(awk -v b="$size" 'BEGIN {printf "%.2f MB (%d bytes)", b / 1048576, b}') | | at most 2.5 MB | $(verdict $((size <= 2621440))) |
| start to exit, \`setup.exe /x\` | $start_ms ms | trivial program $trivial_ms ms | at most 50 ms more | $(verdict "$(awk -v a="$start_ms" -v b="$trivial_ms" 'BEGIN {print (a - b <= 50)}')") |
| silent installation, wall (exit $install_code) | $install_ms ms | | | |
| silent installation, engine (log) | $engine_ms ms | | | |
| deployment, $tree_files files, $tree_mb MB (exit $deploy_code) | $deploy_ms ms | Wine's xcopy $xcopy_ms ms | faster than xcopy | $(verdict "$(awk -v a="$deploy_ms" -v b="$xcopy_ms" 'BEGIN {print (a < b)}')") |
| peak working set, silent installation | $(awk -v b="$peak_bytes" 'BEGIN {printf "%.1f MB", b / 1048576}') | a program with the same system libraries $(awk -v b="$libraries_bytes" 'BEGIN {printf "%.1f MB", b / 1048576}') | at most 16 MB | $(verdict $((peak_bytes <= 16777216))) |
EOF
)
echo
echo "$table"

# The figures replace those of the last run; the rest of the file stays as written.
doc=docs/benchmarks.md
[ -f "$doc" ] || printf '# Benchmarks\n' >"$doc"
python3 - "$doc" "$table" <<'EOF'
import sys
path, table = sys.argv[1], sys.argv[2]
begin, end = "<!-- bench.sh figures -->", "<!-- end of bench.sh figures -->"
text = open(path).read()
block = begin + "\n" + table + "\n" + end
if begin in text and end in text:
    text = text[:text.index(begin)] + block + text[text.index(end) + len(end):]
else:
    text = text.rstrip("\n") + "\n\n## The package under Wine\n\n" + block + "\n"
open(path, "w").write(text)
EOF
echo "written to $doc" >&2
