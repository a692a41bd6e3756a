#!/usr/bin/env bash
# Builds everything into build/ and runs the tests under Wine, then the host build's tests
# (scripts/host-test.sh: the pure code under sanitizers and a smoke run of each fuzz target).
# Extra arguments go to the Windows ctest alone, e.g. scripts/test.sh -R process_tests.
# Exit status: 0 when every test passed.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

# The tests build the release signed, with a throwaway key, as a company would sign it.
scripts/bootstrap.sh
keys=${HOLLIN_DEPS_CACHE:-$HOME/.cache/hollin-setup-deps}/test-signing
tests/support/make_test_key.sh "$keys"
HOLLIN_SIGN_PKCS12=$keys/signer.p12 HOLLIN_SIGN_PASSWORD_FILE=$keys/password \
    HOLLIN_REQUIRE_SIGNED=1 scripts/build.sh -DHOLLIN_SIGN_TEST_ROOT="$keys/root.pem"

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
if [ $# -eq 0 ]; then
  scripts/host-test.sh || status=1
fi
exit $status
