#!/usr/bin/env bash
# Draws docs/architecture.dot into docs/architecture.png with Graphviz from Debian.
set -euo pipefail
cd "$(dirname "$0")/.."
if ! command -v dot >/dev/null; then
    as_root() { if [ "$(id -u)" = 0 ]; then "$@"; else sudo "$@"; fi; }
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends \
        graphviz fonts-dejavu-core >/dev/null
fi
dot -Tpng -Gdpi=96 docs/architecture.dot -o docs/architecture.png
echo "docs/architecture.png"
