#!/usr/bin/env bash
# Builds the pure code for Linux into build-host/ (clang, AddressSanitizer,
# UndefinedBehaviorSanitizer, the fuzz targets) and runs its tests and a short smoke run of
# each fuzz target. Extra arguments go to ctest. Exit status: ctest's.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/bootstrap.sh --host

cmake -S tests/host -B build-host -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
cmake --build build-host -j"$(nproc)"
cd build-host && ctest --output-on-failure "$@"
