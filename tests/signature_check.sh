#!/usr/bin/env bash
# A signed build (scripts/test.sh signs with a throwaway key): every PE file of the package
# and the MSI verify against the key's root, and a byte changed after signing is caught.
# Usage: signature_check.sh ROOT_CERTIFICATE BUILD_DIR
set -euo pipefail
root=$1
build=$2
status=0
for file in "$build"/package/*.exe "$build"/package/*.dll "$build"/msi/*.msi; do
    osslsigncode verify -CAfile "$root" -in "$file" >/dev/null 2>&1 ||
        { echo "FAIL: $file does not verify"; status=1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
for file in "$build/package/setup.exe" "$build"/msi/*.msi; do
    copy=$work/$(basename "$file")
    cp "$file" "$copy"
    python3 -c 'import sys
data = bytearray(open(sys.argv[1], "rb").read())
data[len(data) // 3] ^= 1
open(sys.argv[1], "wb").write(data)' "$copy"
    if osslsigncode verify -CAfile "$root" -in "$copy" >/dev/null 2>&1; then
        echo "FAIL: $(basename "$file") still verifies with a byte changed"
        status=1
    fi
done
[ $status = 0 ] && echo "ok: every shipped file signed and verified"
exit $status
