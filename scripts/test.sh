#!/usr/bin/env bash
# Builds everything into build/ and runs the tests under Wine. Exit status: ctest's.
# Extra arguments go to ctest, e.g. scripts/test.sh -R process_tests
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/build.sh

# One throwaway prefix and one wineserver for the whole run.
export WINEPREFIX=$root/build/wineprefix WINEDEBUG=-all
scripts/wine-prefix.sh "$WINEPREFIX"
wineserver -k >/dev/null 2>&1 || true  # a server left over from an earlier run
wineserver -p >/dev/null 2>&1 </dev/null
trap 'WINEPREFIX=$WINEPREFIX wineserver -k 2>/dev/null || true' EXIT
# Start Wine's own background processes now, detached from ctest's output pipes, so that
# the first test does not leave them holding its output open.
wine cmd /c exit >/dev/null 2>&1 </dev/null || true

status=0
(cd build && ctest --output-on-failure "$@") || status=$?
exit $status
