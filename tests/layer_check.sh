#!/usr/bin/env bash
# Fails when a file of the program includes a layer above its own. Layers, bottom up:
# sys, db, setup, ui, app; resources/ is open to all.
set -euo pipefail
cd "$(dirname "$0")/.."
rank() {
  case $1 in
    sys) echo 0 ;; db) echo 1 ;; setup) echo 2 ;; ui) echo 3 ;; app) echo 4 ;; *) echo -1 ;;
  esac
}
faults=0
for layer in sys db setup ui app; do
  own=$(rank "$layer")
  while IFS=: read -r file line include; do
    target=${include#*\"}
    target=${target%%/*}
    wanted=$(rank "$target")
    if [ "$wanted" -gt "$own" ]; then
      echo "$file:$line: $layer includes $target, a layer above it" >&2
      faults=$((faults + 1))
    fi
  done < <(grep -rn --include='*.cpp' --include='*.h' '^#include "' "$layer" || true)
done
if [ "$faults" -gt 0 ]; then
  echo "layer check: $faults includes point up" >&2
  exit 1
fi
echo "layer check: every include points down or sideways"
