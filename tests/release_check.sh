#!/usr/bin/env bash
# The cheap half of a reproducible release, checked on every build: no path of the machine
# that built it in any shipped file, and every shipped PE file stamped with the commit's time.
# Usage: release_check.sh SOURCE_DIR BUILD_DIR
set -euo pipefail
source=$1
build=$2
# Outside a git checkout, the time the build was given.
epoch=$(git -C "$source" log -1 --format=%ct 2>/dev/null || cat "$build/generated/source_date_epoch.txt")
status=0
for file in "$build"/package/* "$build"/msi/*.msi; do
    for path in "$source" "$build" "$HOME/.cache"; do
        if grep -q -a -F "$path" "$file"; then
            echo "FAIL: $file holds the build machine's path $path"
            status=1
        fi
    done
done
for file in "$build"/package/*.exe "$build"/package/*.dll; do
    stamp=$(python3 -c 'import struct, sys
data = open(sys.argv[1], "rb").read()
pe = struct.unpack_from("<I", data, 0x3C)[0]
print(struct.unpack_from("<I", data, pe + 8)[0])' "$file")
    if [ "$stamp" != "$epoch" ]; then
        echo "FAIL: $file is stamped $stamp, the commit's time is $epoch"
        status=1
    fi
done
[ $status = 0 ] && echo "ok: no build path, every PE stamped $epoch"
exit $status
