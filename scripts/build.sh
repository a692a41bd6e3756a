#!/usr/bin/env bash
# Installs what is needed, then configures and builds everything into build/.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/bootstrap.sh

cache=${HOLLIN_DEPS_CACHE:-$HOME/.cache/hollin-setup-deps}
# What ships carries the commit's time (reproducible builds); the linker reads it too.
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || echo 1)}
cmake -S . -B build -G Ninja -DHOLLIN_SOURCE_DATE_EPOCH="$SOURCE_DATE_EPOCH" \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw64.cmake" \
    -DHOLLIN_DEPS_FILE="$cache/deps.cmake" "$@" >/dev/null
cmake --build build -j"$(nproc)"
