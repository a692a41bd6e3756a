#!/usr/bin/env bash
# Installs what the build and the tests need, and cross-builds the Windows
# libraries (OpenSSL libcrypto, jsoncpp, SQLite, GoogleTest) from Debian's
# sources into a cache outside the checkout. Safe to run again: a second run
# only checks and finishes in seconds.
#
# The sources are pinned in scripts/dependencies.lock: for each Debian source
# package one version, and the SHA-256 of every file of it (.dsc, upstream
# tarballs and signatures, Debian tarball). Exactly that version is fetched,
# every file is checked against its pin before use, and the tree is unpacked
# with Debian's patches applied, then with our own from scripts/patches/<package>/
# (each file says why). A file that differs from its pin stops the bootstrap.
#
#   scripts/bootstrap.sh         fetch, check, build what the cache lacks
#   scripts/bootstrap.sh --pin   rewrite scripts/dependencies.lock from the
#                                versions apt offers now, then stop; build and
#                                test with the new pins before committing them
#
# The cache folder is $HOLLIN_DEPS_CACHE (default ~/.cache/hollin-setup-deps).
# Each library's folder there is named by its version and a short hash of its
# pin and build configuration, so a changed pin, option or compiler gets a
# fresh build. It ends by writing <cache>/deps.cmake, which the CMake build reads.
#
# With --host it only installs the Debian packages of the host build (tests/host: clang,
# sanitizers, libFuzzer and the Linux libraries) and stops there.
set -euo pipefail
shopt -s inherit_errexit

LOCK_FILE=$(cd "$(dirname "$0")" && pwd)/dependencies.lock
OWN_PATCHES=$(cd "$(dirname "$0")" && pwd)/patches
CACHE=${HOLLIN_DEPS_CACHE:-$HOME/.cache/hollin-setup-deps}
JOBS=${JOBS:-$(nproc)}
CROSS=x86_64-w64-mingw32
SOURCE_PKGS=(openssl libjsoncpp sqlite3 googletest)
say() { printf '[bootstrap] %s\n' "$*" >&2; }
die() { say "$@"; exit 1; }

mode=build
case "${1:-}" in
  "") ;;
  --pin) mode=pin ;;
  --host) mode=host ;;
  *) die "unknown argument '$1' (usage: scripts/bootstrap.sh [--pin | --host])" ;;
esac

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
if [ "$mode" != host ]; then
  have ${CROSS}-g++-posix || need_pkgs+=(g++-mingw-w64-x86-64-posix gcc-mingw-w64-x86-64-posix)
  have ${CROSS}-windres || need_pkgs+=(mingw-w64 binutils-mingw-w64-x86-64)
  have wine || need_pkgs+=(wine wine64)
  [ -x /usr/lib/wine/wine64 ] || need_pkgs+=(wine64)
  have xvfb-run || need_pkgs+=(xvfb)
  have tclsh || need_pkgs+=(tcl)
  have cmake || need_pkgs+=(cmake)
  have ninja || need_pkgs+=(ninja-build)
  have dpkg-source || need_pkgs+=(dpkg-dev)
  # dpkg-source applies Debian's patches with patch(1) and unpacks .tar.xz.
  have patch || need_pkgs+=(patch)
  have xz || need_pkgs+=(xz-utils)
  have python3 || need_pkgs+=(python3)
  # The dialogs' text font under Wine, and PNG work for the pictures.
  [ -d /usr/share/fonts/truetype/liberation ] || need_pkgs+=(fonts-liberation)
  # Japanese glyphs for measuring and drawing the ja-JP texts.
  [ -f /usr/share/fonts/opentype/ipafont-gothic/ipagp.ttf ] || need_pkgs+=(fonts-ipafont-gothic)
  [ -x /usr/bin/convert-im6.q16 ] || need_pkgs+=(imagemagick)
  # Test signatures: a throwaway root and signer, and Authenticode signing on Linux.
  have openssl || need_pkgs+=(openssl)
  have osslsigncode || need_pkgs+=(osslsigncode)
  # The MSI around the package, and looking into it.
  have wixl || need_pkgs+=(wixl)
  have msiinfo || need_pkgs+=(msitools)
  have faketime || need_pkgs+=(faketime)
  # The bill of materials' check: the CycloneDX library from the npm registry.
  have npm || need_pkgs+=(npm)
fi

apt_updated=0
apt_update() { [ $apt_updated = 1 ] || { say "apt-get update"; as_root apt-get update -qq; apt_updated=1; }; }

if [ ${#need_pkgs[@]} -gt 0 ]; then
  apt_update
  say "installing Debian packages: ${need_pkgs[*]}"
  as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${need_pkgs[@]}" >/dev/null
fi
[ "$mode" != host ] || exit 0

# --- Source entries for apt-get source ---------------------------------------
# Source entries mirror the machine's own binary entry for the release's main
# component, so the sources come from wherever this machine's packages do.
# Only needed when something has to be fetched, so a cached run skips it.
src_entry_ready=0
ensure_src_entry() {
  [ $src_entry_ready = 0 ] || return 0
  . /etc/os-release
  local list=/etc/apt/sources.list.d/hollin-setup-src.sources uri entry
  main_uri() {
    apt-get indextargets --format '$(TARGET_OF) $(REPO_URI) $(RELEASE) $(COMPONENT)' 2>/dev/null |
      awk -v rel="$VERSION_CODENAME" '$1 == "deb" && $3 == rel && $4 == "main" { print $2; exit }'
  }
  uri=$(main_uri)
  [ -n "$uri" ] || { apt_update; uri=$(main_uri); }
  [ -n "$uri" ] || die "no apt entry for $VERSION_CODENAME main to take source entries from"
  entry="Types: deb-src
URIs: $uri
Suites: $VERSION_CODENAME
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg"
  if [ "$(cat "$list" 2>/dev/null)" != "$entry" ]; then
    say "adding the deb-src entry for $VERSION_CODENAME main"
    printf '%s\n' "$entry" | as_root tee "$list" >/dev/null
    apt_updated=0
    apt_update
  fi
  src_entry_ready=1
}

# Versions of source package $1 that apt offers, newest first.
src_versions() {
  local v i sorted=()
  while read -r v; do
    for ((i = 0; i < ${#sorted[@]}; i++)); do
      dpkg --compare-versions "$v" gt "${sorted[i]}" && break
    done
    sorted=("${sorted[@]:0:i}" "$v" "${sorted[@]:i}")
  done < <(apt-cache showsrc --only-source "$1" 2>/dev/null |
    awk -v pkg="$1" 'BEGIN { RS = ""; FS = "\n" }
      { p = v = ""
        for (i = 1; i <= NF; i++) {
          if ($i ~ /^Package: /) p = substr($i, 10)
          if ($i ~ /^Version: /) v = substr($i, 10)
        }
        if (p == pkg && v != "") print v }' | sort -u)
  [ ${#sorted[@]} = 0 ] || printf '%s\n' "${sorted[@]}"
}

# "<file> <sha256>" for every file of source package $1 at version $2, as apt's
# (signed) source index lists them.
src_checksums() {
  apt-cache showsrc --only-source "$1" 2>/dev/null |
    awk -v pkg="$1" -v ver="$2" 'BEGIN { RS = ""; FS = "\n" }
      { p = v = ""; n = 0; sums = 0
        for (i = 1; i <= NF; i++) {
          if ($i ~ /^Package: /) p = substr($i, 10)
          else if ($i ~ /^Version: /) v = substr($i, 10)
          if ($i ~ /^Checksums-Sha256:/) { sums = 1; continue }
          if (sums && $i ~ /^ /) { split($i, f, " "); line[++n] = f[3] " " f[1] } else sums = 0
        }
        if (p == pkg && v == ver) { for (j = 1; j <= n; j++) print line[j]; exit } }'
}

# --- Re-pinning --------------------------------------------------------------
if [ $mode = pin ]; then
  ensure_src_entry
  apt_update
  tmp=$LOCK_FILE.tmp
  {
    echo "# Debian source packages the Windows libraries are built from, one line per file:"
    echo "# source package, version, file name, SHA-256. scripts/bootstrap.sh fetches exactly"
    echo "# these and stops on any difference; scripts/bootstrap.sh --pin rewrites this file"
    echo "# from what apt offers."
  } >"$tmp"
  for pkg in "${SOURCE_PKGS[@]}"; do
    ver=$(src_versions "$pkg" | head -n1)
    [ -n "$ver" ] || { rm -f "$tmp"; die "apt offers no source of $pkg"; }
    sums=$(src_checksums "$pkg" "$ver")
    [ -n "$sums" ] || { rm -f "$tmp"; die "apt lists no SHA-256 for the files of $pkg $ver"; }
    while read -r file sum; do echo "$pkg $ver $file $sum"; done <<<"$sums" >>"$tmp"
    old=$(awk -v pkg="$pkg" '$1 == pkg { print $2; exit }' "$LOCK_FILE" 2>/dev/null || true)
    if [ "$old" = "$ver" ]; then say "$pkg $ver (unchanged)"; else say "$pkg ${old:-(none)} -> $ver"; fi
  done
  mv "$tmp" "$LOCK_FILE"
  say "wrote $LOCK_FILE; build and test with it before committing"
  exit 0
fi

# --- The pins ----------------------------------------------------------------
[ -f "$LOCK_FILE" ] || die "$LOCK_FILE is missing (scripts/bootstrap.sh --pin writes it)"
lock_lines() { awk -v pkg="$1" '$1 == pkg' "$LOCK_FILE"; }
bad=$(awk '!/^#/ && NF && (NF != 4 || length($4) != 64 || $4 ~ /[^0-9a-f]/) { print NR }' "$LOCK_FILE")
[ -z "$bad" ] || die "$LOCK_FILE: malformed line(s) $(echo $bad)"
for pkg in "${SOURCE_PKGS[@]}"; do
  n=$(lock_lines "$pkg" | awk '{ print $2 }' | sort -u | wc -l)
  [ "$n" = 1 ] || die "$LOCK_FILE must pin exactly one version of $pkg (has $n)"
done
pinned_version() { lock_lines "$1" | awk '{ print $2; exit }'; }

# The toolchain is part of every library's configuration.
TOOLCHAIN_ID=$(dpkg-query -W -f='${Package}=${Version}\n' gcc-mingw-w64-x86-64-posix \
  g++-mingw-w64-x86-64-posix mingw-w64-x86-64-dev binutils-mingw-w64-x86-64 2>/dev/null || true)
# Our own patches of source package $1, in the order they apply.
own_patches() { compgen -G "$OWN_PATCHES/$1/*.patch" | LC_ALL=C sort || true; }
# Short hash of a library's pins, its build configuration (the arguments), the toolchain
# and our own patches.
config_key() {
  local pkg=$1 file; shift
  { lock_lines "$pkg"; printf '%s\n' "$@" "$TOOLCHAIN_ID"
    own_patches "$pkg" | while read -r file; do sha256sum <"$file"; done
  } | sha256sum | cut -c1-12
}

# --- Fetching, checking and unpacking ----------------------------------------
# Compares the files in folder $2 with the pins of $1; prints the differences.
check_files() {
  local pkg=$1 dir=$2 file want got status=0
  while read -r _ _ file want; do
    if [ ! -f "$dir/$file" ]; then
      echo "  $file: pinned but not there"; status=1; continue
    fi
    got=$(sha256sum "$dir/$file" | cut -d' ' -f1)
    if [ "$got" != "$want" ]; then
      echo "  $file: SHA-256 differs from the pin"
      echo "    expected $want"
      echo "    got      $got"
      status=1
    fi
  done < <(lock_lines "$pkg")
  for file in "$dir"/*; do
    [ -f "$file" ] || continue
    lock_lines "$pkg" | awk -v f="${file##*/}" '$3 == f { found = 1 } END { exit !found }' ||
      { echo "  ${file##*/}: part of the source but not pinned"; status=1; }
  done
  return $status
}

# Makes sure $CACHE/src/<pkg>-<version>/ holds exactly the pinned files of $1,
# downloading them if needed; prints that folder.
fetch_source() {
  local pkg=$1 ver dir dl offered report
  ver=$(pinned_version "$pkg")
  dir="$CACHE/src/$pkg-$ver"
  if [ -d "$dir/files" ]; then
    check_files "$pkg" "$dir/files" >/dev/null && { echo "$dir"; return; }
    say "the cached source of $pkg $ver differs from its pin; fetching it again"
  fi
  ensure_src_entry
  offered=$(src_versions "$pkg")
  if ! grep -qxF -- "$ver" <<<"$offered"; then
    apt_update
    offered=$(src_versions "$pkg")
  fi
  if ! grep -qxF -- "$ver" <<<"$offered"; then
    say "$pkg $ver is pinned in $LOCK_FILE, but apt no longer offers it."
    say "apt offers: $(echo ${offered:-no version at all})"
    die "To move to what apt offers: scripts/bootstrap.sh --pin, then build, test and commit the lock file."
  fi
  say "fetching Debian source of $pkg $ver"
  dl="$dir/download"
  rm -rf "$dl"; mkdir -p "$dl"
  (cd "$dl" && apt-get source -qq --only-source --download-only "$pkg=$ver") >"$dir/download.log" 2>&1 ||
    die "apt-get source $pkg=$ver failed, see $dir/download.log"
  if ! report=$(check_files "$pkg" "$dl"); then
    say "the source of $pkg $ver does not match $LOCK_FILE:"
    printf '%s\n' "$report" >&2
    die "refusing to build from it. If the change is expected, re-pin with scripts/bootstrap.sh --pin."
  fi
  rm -rf "$dir/files"; mv "$dl" "$dir/files"
  echo "$dir"
}

# Unpacks the checked source of $1 with Debian's patches and then ours into a fresh
# <dir>/tree, prints the tree's path and writes both patch counts to <dir>/patches.
unpack_source() {
  local pkg=$1 dir tree series applied count own=0 file
  dir=$(fetch_source "$pkg")
  tree="$dir/tree"
  rm -rf "$tree"
  (cd "$dir/files" && dpkg-source --no-copy -x ./*.dsc "$tree") >"$dir/unpack.log" 2>&1 ||
    die "dpkg-source could not unpack $pkg, see $dir/unpack.log"
  series="$tree/debian/patches/series"
  count=0
  [ -f "$series" ] && count=$(grep -cEv '^[[:space:]]*(#|$)' "$series" || true)
  applied=0
  [ -f "$tree/.pc/applied-patches" ] && applied=$(grep -c . "$tree/.pc/applied-patches" || true)
  [ "$applied" = "$count" ] ||
    die "$pkg: $count patches in debian/patches/series but $applied applied, see $dir/unpack.log"
  while read -r file; do
    [ -n "$file" ] || continue
    patch -p1 --batch --forward -d "$tree" <"$file" >>"$dir/unpack.log" 2>&1 ||
      die "$pkg: our patch ${file##*/} does not apply, see $dir/unpack.log"
    own=$((own + 1))
  done < <(own_patches "$pkg")
  echo "$count $own" >"$dir/patches"
  echo "$tree"
}

# Records what a finished library folder $1 was built from, then marks it done.
finish() {
  local out=$1 pkg=$2
  printf '%s %s\n' "$(pinned_version "$pkg")" "$(cat "$CACHE/src/$pkg-$(pinned_version "$pkg")/patches")" \
    >"$out/.source"
  touch "$out/.done"
}

# --- What each library is built with ------------------------------------------
# The program only decrypts AES-256-GCM and hashes SHA-256 through EVP; the
# tests also encrypt AES-256-GCM and base64-encode. Everything else is left out.
# AES stays for the default random generator (CTR-DRBG). RSA, SHA-1/SHA-512/
# SHA-3, MD5, HMAC and the KDFs cannot be configured out in this version.
# No configuration file is read at start (no-autoload-config), so an
# OPENSSL_CONF in an administrator's environment cannot change the program.
OPENSSL_CONFIG=(mingw64
  no-shared no-tests no-module no-engine no-legacy no-dso no-asm
  no-aria no-bf no-camellia no-cast no-chacha no-des no-idea no-rc2 no-rc4 no-rc5
  no-seed no-sm4 no-poly1305 no-ocb no-siv no-cmac no-siphash no-scrypt
  no-blake2 no-md2 no-md4 no-mdc2 no-rmd160 no-sm3 no-whirlpool
  no-dh no-dsa no-ec
  no-ssl no-tls no-dtls no-sock no-srp no-psk no-srtp no-nextprotoneg no-ssl-trace
  no-cms no-cmp no-ct no-ocsp no-ts no-rfc3779 no-comp
  no-async no-ui-console no-autoload-config no-deprecated no-err no-filenames
  --cross-compile-prefix=${CROSS}-
  # Small code, each function in its own section for the final link to drop.
  -Os -ffunction-sections -fdata-sections)
JSONCPP_CONFIG=(-G Ninja -DCMAKE_SYSTEM_NAME=Windows
  -DCMAKE_C_COMPILER=${CROSS}-gcc-posix -DCMAKE_CXX_COMPILER=${CROSS}-g++-posix
  -DCMAKE_BUILD_TYPE=Release
  # Without its stream interfaces (our patch), so no stream or locale code is linked.
  "-DCMAKE_CXX_FLAGS=-ffunction-sections -fdata-sections -DJSONCPP_NO_STREAMS"
  -DJSONCPP_WITH_TESTS=OFF -DJSONCPP_WITH_POST_BUILD_UNITTEST=OFF
  -DJSONCPP_WITH_PKGCONFIG_SUPPORT=OFF -DJSONCPP_WITH_CMAKE_PACKAGE=OFF
  -DBUILD_SHARED_LIBS=OFF -DBUILD_STATIC_LIBS=ON -DBUILD_OBJECT_LIBS=OFF)
# A fixed image base (the linker's automatic one is hashed from the output's path) and no
# link time in the export directory, which the shipping step does not restamp: the same
# bytes from every cache (reproducible builds).
SQLITE_CONFIG=(-O2 -shared -static-libgcc "-DSQLITE_API=__declspec(dllexport)"
  -DSQLITE_THREADSAFE=1 -Wl,--disable-auto-image-base -Wl,--no-insert-timestamp)
GTEST_CONFIG=(-G Ninja -DCMAKE_SYSTEM_NAME=Windows
  -DCMAKE_C_COMPILER=${CROSS}-gcc-posix -DCMAKE_CXX_COMPILER=${CROSS}-g++-posix
  -DCMAKE_BUILD_TYPE=Release -Dgtest_disable_pthreads=OFF -DBUILD_GMOCK=ON -DINSTALL_GTEST=ON)

OPENSSL_VER=$(pinned_version openssl)
OPENSSL_DIR="$CACHE/openssl-$OPENSSL_VER-$(config_key openssl "${OPENSSL_CONFIG[@]}")"
JSONCPP_VER=$(pinned_version libjsoncpp)
JSONCPP_DIR="$CACHE/jsoncpp-$JSONCPP_VER-$(config_key libjsoncpp "${JSONCPP_CONFIG[@]}")"
SQLITE_VER=$(pinned_version sqlite3)
SQLITE_DIR="$CACHE/sqlite3-$SQLITE_VER-$(config_key sqlite3 "${SQLITE_CONFIG[@]}")"
GTEST_VER=$(pinned_version googletest)
GTEST_DIR="$CACHE/googletest-$GTEST_VER-$(config_key googletest "${GTEST_CONFIG[@]}")"

mkdir -p "$CACHE/src"
# One bootstrap at a time per cache.
exec 9>"$CACHE/.lock"
flock 9

# Every source still to build from is fetched and checked before any build, so
# a wrong pin stops the run at once.
for pair in "openssl $OPENSSL_DIR" "libjsoncpp $JSONCPP_DIR" "sqlite3 $SQLITE_DIR" \
  "googletest $GTEST_DIR"; do
  [ -f "${pair#* }/.done" ] || fetch_source "${pair%% *}" >/dev/null
done

summary=()
report() {  # <name> <folder> <built|cached>
  local ver patches own
  read -r ver patches own <"$2/.source"
  summary+=("$1 $ver: $patches Debian patches and ${own:-0} of ours applied ($3)")
}

# --- OpenSSL: static libcrypto -----------------------------------------------
if [ -f "$OPENSSL_DIR/.done" ]; then
  report openssl "$OPENSSL_DIR" cached
else
  tree=$(unpack_source openssl)
  say "building OpenSSL $OPENSSL_VER libcrypto for Windows x64 (a few minutes)"
  rm -rf "$OPENSSL_DIR"; mkdir -p "$OPENSSL_DIR/lib" "$OPENSSL_DIR/include/openssl"
  (cd "$tree" &&
    ./Configure "${OPENSSL_CONFIG[@]}" >"$OPENSSL_DIR/configure.log" 2>&1 &&
    make -j"$JOBS" build_generated >"$OPENSSL_DIR/build.log" 2>&1 &&
    make -j"$JOBS" libcrypto.a >>"$OPENSSL_DIR/build.log" 2>&1) ||
    die "OpenSSL build failed, see $OPENSSL_DIR/*.log"
  cp "$tree/libcrypto.a" "$OPENSSL_DIR/lib/"
  cp "$tree"/include/openssl/*.h "$OPENSSL_DIR/include/openssl/"
  rm -rf "$tree"
  finish "$OPENSSL_DIR" openssl
  report openssl "$OPENSSL_DIR" built
fi

# Builds and installs a CMake library: <name> <source package> <folder> <configuration...>.
build_cmake_library() {
  local name=$1 pkg=$2 out=$3 tree; shift 3
  if [ -f "$out/.done" ]; then
    report "$name" "$out" cached
    return
  fi
  tree=$(unpack_source "$pkg")
  say "building $name $(pinned_version "$pkg") for Windows x64"
  rm -rf "$out"; mkdir -p "$out"
  { cmake -S "$tree" -B "$tree/build-win64" "$@" -DCMAKE_INSTALL_PREFIX="$out" &&
    cmake --build "$tree/build-win64" -j"$JOBS" &&
    cmake --install "$tree/build-win64"; } >"$out/build.log" 2>&1 ||
    die "$name build failed, see $out/build.log"
  rm -rf "$tree"
  finish "$out" "$pkg"
  report "$name" "$out" built
}

build_cmake_library jsoncpp libjsoncpp "$JSONCPP_DIR" "${JSONCPP_CONFIG[@]}"

# --- SQLite: sqlite3.dll from the amalgamation ---------------------------------
if [ -f "$SQLITE_DIR/.done" ]; then
  report sqlite3 "$SQLITE_DIR" cached
else
  tree=$(unpack_source sqlite3)
  say "building SQLite $SQLITE_VER sqlite3.dll for Windows x64 (about a minute)"
  rm -rf "$SQLITE_DIR"; mkdir -p "$SQLITE_DIR/include" "$SQLITE_DIR/bin" "$tree/bld"
  { (cd "$tree/bld" && ../configure --disable-tcl && make sqlite3.c) &&
    ${CROSS}-gcc-posix "${SQLITE_CONFIG[@]}" -o "$SQLITE_DIR/bin/sqlite3.dll" "$tree/bld/sqlite3.c"
  } >"$SQLITE_DIR/build.log" 2>&1 || die "SQLite build failed, see $SQLITE_DIR/build.log"
  cp "$tree/bld/sqlite3.h" "$SQLITE_DIR/include/"
  rm -rf "$tree"
  finish "$SQLITE_DIR" sqlite3
  report sqlite3 "$SQLITE_DIR" built
fi

build_cmake_library googletest googletest "$GTEST_DIR" "${GTEST_CONFIG[@]}"

# --- The CycloneDX library and its schema validator, as pinned in tests/sbom ------
SBOM_PIN=$(cd "$(dirname "$0")/.." && pwd)/tests/sbom
SBOM_DIR=$CACHE/cyclonedx-$(sha256sum <"$SBOM_PIN/package-lock.json" | cut -c1-12)
if [ -d "$SBOM_DIR/node_modules/@cyclonedx" ]; then
  summary+=("CycloneDX validator: cached")
else
  say "installing the CycloneDX validator (npm ci)"
  rm -rf "$SBOM_DIR"; mkdir -p "$SBOM_DIR"
  cp "$SBOM_PIN/package.json" "$SBOM_PIN/package-lock.json" "$SBOM_DIR/"
  (cd "$SBOM_DIR" && npm ci --no-audit --no-fund --ignore-scripts) >"$SBOM_DIR.log" 2>&1 ||
    die "npm ci of the CycloneDX validator failed, see $SBOM_DIR.log"
  summary+=("CycloneDX validator: installed")
fi

cat >"$CACHE/deps.cmake.tmp" <<CMAKE
# Written by scripts/bootstrap.sh
set(HOLLIN_OPENSSL_ROOT "$OPENSSL_DIR")
set(HOLLIN_JSONCPP_ROOT "$JSONCPP_DIR")
set(HOLLIN_SQLITE_ROOT "$SQLITE_DIR")
set(HOLLIN_GTEST_ROOT "$GTEST_DIR")
set(HOLLIN_SBOM_VALIDATOR "$SBOM_DIR/node_modules")
CMAKE
mv "$CACHE/deps.cmake.tmp" "$CACHE/deps.cmake"
for line in "${summary[@]}"; do say "$line"; done
