#!/usr/bin/env bash
# Installs what is needed, then configures and builds everything into build/.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

scripts/bootstrap.sh

cache=${HOLLIN_DEPS_CACHE:-$HOME/.cache/hollin-setup-deps}
cmake -S . -B build -G Ninja \
    -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-mingw64.cmake" \
    -DHOLLIN_DEPS_FILE="$cache/deps.cmake" "$@" >/dev/null
cmake --build build -j"$(nproc)"
