#!/usr/bin/env bash
# Renders every screen of the install and uninstall windows for each brand, in English,
# German and Japanese, under Xvfb with Wine's X11 driver, into docs/screenshots/ as PNG.
# Usage: scripts/screenshots.sh [output folder]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=${1:-$root/docs/screenshots}

if [ "${HOLLIN_UNDER_XVFB:-}" != 1 ]; then
  "$root/scripts/build.sh" >/dev/null
  cmake --build "$root/build" --target dialog_showcase_zelko dialog_showcase_orv \
    dialog_showcase_tessan >/dev/null
fi

prefix=$root/build/screenshots/prefix
"$root/scripts/wine-prefix.sh" "$prefix" x11
export WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
raw=$root/build/screenshots/raw
mkdir -p "$raw" "$out"

install_screens="ready not-permitted installing completed restart failed policy"
uninstall_screens="confirm confirm-password not-permitted removing wrong-password removed removed-restart failed"

render() {
  for brand in zelko orv tessan; do
    for language in en:1 de:11 ja:19; do
      code=${language#*:}
      name=${language%%:*}
      for screen in $install_screens; do
        wine "$root/build/bin/dialog_showcase_$brand.exe" install "$screen" "$code" \
          "$raw/$brand-install-$screen-$name.bmp"
      done
      for screen in $uninstall_screens; do
        wine "$root/build/bin/dialog_showcase_$brand.exe" uninstall "$screen" "$code" \
          "$raw/$brand-uninstall-$screen-$name.bmp"
      done
    done
  done
  wineserver -k || true
}
if [ "${HOLLIN_UNDER_XVFB:-}" = 1 ]; then
  render
  exit 0
fi
echo "[screenshots] rendering under Xvfb" >&2
HOLLIN_UNDER_XVFB=1 xvfb-run -a -s "-screen 0 1280x1024x24" "$0" "$out"

for picture in "$raw"/*.bmp; do
  /usr/bin/convert-im6.q16 "$picture" -strip "$out/$(basename "${picture%.bmp}").png"
done
echo "[screenshots] $(ls "$raw"/*.bmp | wc -l) pictures in $out" >&2
