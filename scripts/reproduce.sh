#!/usr/bin/env bash
# Builds the checked-out commit a second time, in a temporary folder with a dependency cache
# of its own (everything made anew from the pinned sources), and compares the release with
# build/: every file of build/package/, build/package-symbols/, build/msi/ and the bill of
# materials. Prints the first differing file and byte offset; exit status 0 when identical.
# Signing, when a key is given (scripts/build.sh), applies to both builds alike.
# Uncommitted changes are not in the second build: commit first.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
export SOURCE_DATE_EPOCH=$(git log -1 --format=%ct)
scripts/build.sh >/dev/null
work=$(mktemp -d "${TMPDIR:-/tmp}/hollin-reproduce.XXXXXX")
git clone -q "$root" "$work/src"
echo "reproduce.sh: building $(git rev-parse --short HEAD) again in $work (a few minutes)"
(cd "$work/src" && HOLLIN_DEPS_CACHE=$work/cache scripts/build.sh >"$work/build.log" 2>&1) ||
    { tail -n 20 "$work/build.log"; exit 2; }
status=0
files=0
for file in $(cd build && ls package/* package-symbols/* msi/* sbom.cdx.json); do
    files=$((files + 1))
    if ! difference=$(cmp "build/$file" "$work/src/build/$file" 2>&1); then
        echo "differs: $file: ${difference#* }"
        status=1
    fi
done
if [ $status = 0 ]; then
    echo "reproduce.sh: identical, $files files"
    rm -rf "$work"
else
    echo "reproduce.sh: the second build is kept in $work/src/build for a look"
fi
exit $status
