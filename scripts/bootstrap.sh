#!/usr/bin/env bash
# Installs what the build and the tests need, and cross-builds the Windows
# libraries (OpenSSL libcrypto, jsoncpp, SQLite, GoogleTest) from Debian's
# sources into a cache outside the checkout. Safe to run again: a second run
# only checks and finishes in seconds.
#
# The cache folder is $HOLLIN_DEPS_CACHE (default ~/.cache/hollin-setup-deps).
# It ends by writing <cache>/deps.cmake, which the CMake build reads.
#
# With --host it only installs the Debian packages of the host build (tests/host: clang,
# sanitizers, libFuzzer and the Linux libraries) and stops there.
set -euo pipefail
host_only=0
[ "${1:-}" = --host ] && host_only=1

CACHE=${HOLLIN_DEPS_CACHE:-$HOME/.cache/hollin-setup-deps}
JOBS=${JOBS:-$(nproc)}
CROSS=x86_64-w64-mingw32
say() { printf '[bootstrap] %s\n' "$*" >&2; }

as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }

# --- Debian packages ---------------------------------------------------------
need_pkgs=()
have() { command -v "$1" >/dev/null 2>&1; }
installed() { dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q 'ok installed'; }
# The host build: the pure code for Linux under sanitizers and the fuzzers.
for pkg in clang-14 libclang-rt-14-dev libssl-dev libsqlite3-dev libjsoncpp-dev libgtest-dev \
    cmake ninja-build; do
  installed "$pkg" || need_pkgs+=("$pkg")
done
if [ $host_only = 0 ]; then
  have ${CROSS}-g++-posix || need_pkgs+=(g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix)
  have ${CROSS}-windres || need_pkgs+=(mingw-w64 binutils-mingw-w64-x86-64)
  have wine || need_pkgs+=(wine wine64)
  [ -x /usr/lib/wine/wine64 ] || need_pkgs+=(wine64)
  have xvfb-run || need_pkgs+=(xvfb)
  have tclsh || need_pkgs+=(tcl)
  have cmake || need_pkgs+=(cmake)
  have ninja || need_pkgs+=(ninja-build)
  have dpkg-source || need_pkgs+=(dpkg-dev)
  have python3 || need_pkgs+=(python3)
  [ -d /usr/src/googletest/googletest ] || need_pkgs+=(googletest)
  # The dialogs' text font under Wine, and BMP to PNG for the pictures.
  [ -d /usr/share/fonts/truetype/liberation ] || need_pkgs+=(fonts-liberation)
  # Japanese glyphs for measuring and drawing the ja-JP texts.
  [ -f /usr/share/fonts/opentype/ipafont-gothic/ipagp.ttf ] || need_pkgs+=(fonts-ipafont-gothic)
  [ -x /usr/bin/convert-im6.q16 ] || need_pkgs+=(imagemagick)
fi

apt_updated=0
apt_update() { [ $apt_updated = 1 ] || { say "apt-get update"; as_root apt-get update -qq; apt_updated=1; }; }

if [ ${#need_pkgs[@]} -gt 0 ]; then
  apt_update
  say "installing Debian packages: ${need_pkgs[*]}"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${need_pkgs[@]}" >/dev/null
fi
[ $host_only = 1 ] && exit 0

# --- Source entries for apt-get source ---------------------------------------
# Source entries mirror the machine's own binary entry for the release's main
# component, so the sources come from wherever this machine's packages do.
. /etc/os-release
SRC_LIST=/etc/apt/sources.list.d/hollin-setup-src.sources
main_uri() {
  apt-get indextargets --format '$(TARGET_OF) $(REPO_URI) $(RELEASE) $(COMPONENT)' 2>/dev/null |
    awk -v rel="$VERSION_CODENAME" '$1 == "deb" && $3 == rel && $4 == "main" { print $2; exit }'
}
SRC_URI=$(main_uri)
[ -n "$SRC_URI" ] || { apt_update; SRC_URI=$(main_uri); }
[ -n "$SRC_URI" ] || { say "no apt entry for $VERSION_CODENAME main to take source entries from"; exit 1; }
SRC_ENTRY="Types: deb-src
URIs: $SRC_URI
Suites: $VERSION_CODENAME
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg"
if [ "$(cat "$SRC_LIST" 2>/dev/null)" != "$SRC_ENTRY" ]; then
  say "adding the deb-src entry for $VERSION_CODENAME main"
  printf '%s\n' "$SRC_ENTRY" | as_root tee "$SRC_LIST" >/dev/null
  apt_updated=0
  apt_update
fi

src_versions() { apt-cache showsrc "$1" 2>/dev/null | awk '/^Version:/{print $2}' | sort -Vr | uniq; }
for pkg in openssl libjsoncpp sqlite3; do
  if [ -z "$(src_versions $pkg)" ]; then apt_update; break; fi
done

mkdir -p "$CACHE/src"

# Picks the version of source package $1 to use for the cache folder prefix $2:
# one already built if any, else the newest one whose sources can be fetched
# and unpacked (into $CACHE/src/$1-<version>/tree).
pick_version() {
  local pkg=$1 prefix=$2 ver dir
  for ver in $(src_versions "$pkg"); do
    [ -f "$CACHE/$prefix-$ver/.done" ] && { echo "$ver"; return; }
  done
  for ver in $(src_versions "$pkg"); do
    dir="$CACHE/src/$pkg-$ver"
    [ -f "$dir/.unpacked" ] && { echo "$ver"; return; }
    say "fetching Debian source of $pkg $ver"
    rm -rf "$dir"; mkdir -p "$dir"
    if (cd "$dir" && apt-get source -qq --download-only "$pkg=$ver" >/dev/null 2>&1 &&
      dpkg-source -x --skip-patches ./*.dsc tree >/dev/null 2>&1); then
      touch "$dir/.unpacked"; echo "$ver"; return
    fi
    say "  $pkg $ver could not be fetched, trying an older version"
    rm -rf "$dir"
  done
  say "no source of $pkg could be fetched"; return 1
}
tree_of() { echo "$CACHE/src/$1-$2/tree"; }

# --- OpenSSL: static libcrypto -----------------------------------------------
OPENSSL_VER=$(pick_version openssl openssl)
OPENSSL_DIR="$CACHE/openssl-$OPENSSL_VER"
if [ ! -f "$OPENSSL_DIR/.done" ]; then
  tree=$(tree_of openssl "$OPENSSL_VER")
  say "building OpenSSL $OPENSSL_VER libcrypto for Windows x64 (about 3 minutes)"
  rm -rf "$OPENSSL_DIR"; mkdir -p "$OPENSSL_DIR/lib"
  (cd "$tree" &&
    ./Configure mingw64 no-shared no-tests no-module no-engine no-legacy no-dso no-asm \
      --cross-compile-prefix=${CROSS}- >"$OPENSSL_DIR/configure.log" 2>&1 &&
    make -j"$JOBS" build_libs >"$OPENSSL_DIR/build.log" 2>&1) ||
    { say "OpenSSL build failed, see $OPENSSL_DIR/*.log"; exit 1; }
  cp "$tree/libcrypto.a" "$OPENSSL_DIR/lib/"
  cp -r "$tree/include" "$OPENSSL_DIR/include"
  touch "$OPENSSL_DIR/.done"
fi

# --- jsoncpp: static library ------------------------------------------------
JSONCPP_VER=$(pick_version libjsoncpp jsoncpp)
JSONCPP_DIR="$CACHE/jsoncpp-$JSONCPP_VER"
if [ ! -f "$JSONCPP_DIR/.done" ]; then
  tree=$(tree_of libjsoncpp "$JSONCPP_VER")
  say "building jsoncpp $JSONCPP_VER for Windows x64"
  rm -rf "$JSONCPP_DIR" "$tree/build-win64"
  cmake -S "$tree" -B "$tree/build-win64" -G Ninja -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_C_COMPILER=${CROSS}-gcc-posix -DCMAKE_CXX_COMPILER=${CROSS}-g++-posix \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$JSONCPP_DIR" \
    -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF \
    -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF -DJSONCPP_WITH_CMAKE_PACKAGE=OFF \
    -DBUILD_SHARED_LIBS=OFF -DBUILD_STATIC_LIBS=ON -DBUILD_OBJECT_LIBS=OFF >/dev/null 2>&1
  cmake --build "$tree/build-win64" -j"$JOBS" >/dev/null
  cmake --install "$tree/build-win64" >/dev/null
  touch "$JSONCPP_DIR/.done"
fi

# --- SQLite: sqlite3.dll from the amalgamation ---------------------------------
SQLITE_VER=$(pick_version sqlite3 sqlite3)
SQLITE_DIR="$CACHE/sqlite3-$SQLITE_VER"
if [ ! -f "$SQLITE_DIR/.done" ]; then
  tree=$(tree_of sqlite3 "$SQLITE_VER")
  say "building SQLite $SQLITE_VER sqlite3.dll for Windows x64 (about a minute)"
  rm -rf "$SQLITE_DIR" "$tree/bld"; mkdir -p "$SQLITE_DIR/include" "$SQLITE_DIR/bin" "$tree/bld"
  (cd "$tree/bld" && ../configure --disable-tcl >/dev/null && make sqlite3.c >/dev/null 2>&1) ||
    { say "SQLite amalgamation failed"; exit 1; }
  ${CROSS}-gcc-posix -O2 -shared -static-libgcc -DSQLITE_API='__declspec(dllexport)' \
    -DSQLITE_THREADSAFE=1 -o "$SQLITE_DIR/bin/sqlite3.dll" "$tree/bld/sqlite3.c"
  cp "$tree/bld/sqlite3.h" "$SQLITE_DIR/include/"
  touch "$SQLITE_DIR/.done"
fi

# --- GoogleTest from Debian's googletest sources -----------------------------
GTEST_VER=$(dpkg-query -W -f='${Version}' googletest)
GTEST_DIR="$CACHE/googletest-$GTEST_VER"
if [ ! -f "$GTEST_DIR/.done" ]; then
  say "building GoogleTest $GTEST_VER for Windows x64"
  bld="$CACHE/src/googletest-build"
  rm -rf "$GTEST_DIR" "$bld"
  cmake -S /usr/src/googletest -B "$bld" -G Ninja -DCMAKE_SYSTEM_NAME=Windows \
    -DCMAKE_C_COMPILER=${CROSS}-gcc-posix -DCMAKE_CXX_COMPILER=${CROSS}-g++-posix \
    -DCMAKE_BUILD_TYPE=Release -DCMAKE_INSTALL_PREFIX="$GTEST_DIR" \
    -Dgtest_disable_pthreads=OFF -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON >/dev/null
  cmake --build "$bld" -j"$JOBS" >/dev/null
  cmake --install "$bld" >/dev/null
  rm -rf "$bld"
  touch "$GTEST_DIR/.done"
fi

cat >"$CACHE/deps.cmake.tmp" <<CMAKE
# Written by scripts/bootstrap.sh
set(HOLLIN_OPENSSL_ROOT "$OPENSSL_DIR")
set(HOLLIN_JSONCPP_ROOT "$JSONCPP_DIR")
set(HOLLIN_SQLITE_ROOT "$SQLITE_DIR")
set(HOLLIN_GTEST_ROOT "$GTEST_DIR")
CMAKE
mv "$CACHE/deps.cmake.tmp" "$CACHE/deps.cmake"
say "ready: openssl $OPENSSL_VER, jsoncpp $JSONCPP_VER, sqlite3 $SQLITE_VER, googletest $GTEST_VER"
