#!/usr/bin/env bash
# Installs what is needed, then configures and builds everything into build/.
# Signing (release/Sign.cmake): HOLLIN_SIGN_PKCS12 (a PKCS#12 file), HOLLIN_SIGN_PASSWORD_FILE
# (a file holding its password), HOLLIN_SIGN_TIMESTAMP_URL (optional); without them the
# build is unsigned. HOLLIN_REQUIRE_SIGNED=1 fails a build that would ship anything unsigned.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/bootstrap.sh

cache=${HOLLIN_DEPS_CACHE:-$HOME/.cache/hollin-setup-deps}
# What ships carries the commit's time (reproducible builds); the linker reads it too.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || echo 1)}
[ -n "${HOLLIN_SIGN_PKCS12:-}" ] || echo "build.sh: unsigned build (no HOLLIN_SIGN_PKCS12 given)"
cmake -S . -B build -G Ninja -DHOLLIN_SOURCE_DATE_EPOCH="$SOURCE_DATE_EPOCH" \
    -DHOLLIN_SIGN_PKCS12="${HOLLIN_SIGN_PKCS12:-}" \
    -DHOLLIN_SIGN_PASSWORD_FILE="${HOLLIN_SIGN_PASSWORD_FILE:-}" \
    -DHOLLIN_SIGN_TIMESTAMP_URL="${HOLLIN_SIGN_TIMESTAMP_URL:-}" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw64.cmake" \
    -DHOLLIN_DEPS_FILE="$cache/deps.cmake" "$@" >/dev/null
cmake --build build -j"$(nproc)"

if [ "${HOLLIN_REQUIRE_SIGNED:-0}" = 1 ]; then
    for file in build/package/*.exe build/package/*.dll build/msi/*.msi; do
        rm -f build/signature.der  # osslsigncode writes no file over another
        osslsigncode extract-signature -in "$file" -out build/signature.der >/dev/null 2>&1 ||
            { echo "build.sh: $file is not signed" >&2; exit 1; }
    done
    rm -f build/signature.der
fi
