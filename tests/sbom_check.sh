#!/usr/bin/env bash
# The bill of materials: valid CycloneDX 1.5 by the standard's own validator, every shipped
# file listed with its SHA-256, every pinned library with the SHA-256 of its source files.
# Usage: sbom_check.sh SOURCE_DIR BUILD_DIR VALIDATOR_MODULES
set -euo pipefail
source=$1
build=$2
NODE_PATH=$3 node "$source/tests/sbom/validate.js" "$build/sbom.cdx.json"
python3 - "$build/sbom.cdx.json" "$source/scripts/dependencies.lock" \
    "$build"/package/*.exe "$build"/package/*.dll "$build"/msi/*.msi <<'PY'
import hashlib, json, os, sys
bom = json.load(open(sys.argv[1]))
listed = {}
for component in bom["components"]:
    for item in [component] + component.get("externalReferences", []):
        for digest in item.get("hashes", []):
            listed.setdefault(digest["content"], []).append(component["name"])
failed = False
for path in sys.argv[3:]:
    if os.path.basename(path) not in listed.get(hashlib.sha256(open(path, "rb").read()).hexdigest(), []):
        print(f"FAIL: {path} is not listed with its SHA-256")
        failed = True
for line in open(sys.argv[2]):
    if line.strip() and not line.startswith("#"):
        package, version, name, digest = line.split()
        if package != "googletest" and digest not in listed:
            print(f"FAIL: {name} of {package} {version} is not listed with its SHA-256")
            failed = True
sys.exit(1 if failed else 0)
PY
echo "ok: valid CycloneDX 1.5, every shipped file and pinned source listed"
