#!/usr/bin/env python3
"""The release's bill of materials, CycloneDX 1.5 JSON: the product, every file of the
package and the MSI with its SHA-256, and every third-party library compiled in, with its
upstream and Debian versions, the SHA-256 of its pinned source files, the patches applied
(Debian's, read from its source, and ours by name) and its licence. Made from
scripts/dependencies.lock and the built files only; nothing in it is written by hand, and
nothing in it depends on when or where it was made.

sbom.py OUTPUT NAME VERSION MANUFACTURER EPOCH LOCK OUR_PATCHES DEPS_SOURCES FILE...
"""
import hashlib
import json
import os
import sys
import tarfile
import time
import uuid

# What each pinned source package is compiled in as; googletest is only in the tests.
LIBRARIES = {
    "openssl": ("openssl", "libcrypto", "Apache-2.0"),
    "libjsoncpp": ("jsoncpp", "jsoncpp", "MIT"),
    "sqlite3": ("sqlite", "sqlite3.dll", "blessing"),
}


def sha256(path):
    with open(path, "rb") as f:
        return hashlib.sha256(f.read()).hexdigest()


def pinned(lock):
    """{package: (version, [(file, sha256)])} from the lock file."""
    packages = {}
    with open(lock) as f:
        for line in f:
            if line.strip() and not line.startswith("#"):
                package, version, name, digest = line.split()
                packages.setdefault(package, (version, []))[1].append((name, digest))
    return packages


def debian_patches(sources, package, version, files):
    """Debian's patch series, read from the package's debian.tar.xz as fetched."""
    for name, digest in files:
        if name.endswith(".debian.tar.xz"):
            path = os.path.join(sources, f"{package}-{version}", "files", name)
            if sha256(path) != digest:
                sys.exit(f"sbom.py: {path} is not the pinned file")
            with tarfile.open(path) as archive:
                try:
                    series = archive.extractfile("debian/patches/series").read().decode()
                except KeyError:
                    return []
            return [p.split()[0] for p in series.splitlines() if p.strip() and not p.startswith("#")]
    return []


def component(package, version, files, ours, sources):
    name, part, licence = LIBRARIES[package]
    upstream = version.split("-")[0].split(":")[-1]
    patches = [{"type": "backport", "diff": {"url": f"debian/patches/{p}"}}
               for p in debian_patches(sources, package, version, files)]
    own = os.path.join(ours, package)
    if os.path.isdir(own):
        patches += [{"type": "unofficial", "diff": {"url": f"scripts/patches/{package}/{p}"}}
                    for p in sorted(os.listdir(own))]
    return {
        "type": "library",
        "bom-ref": f"pkg:deb/debian/{package}@{version}",
        "name": name,
        "version": upstream,
        "description": f"{part}, built from the Debian source package {package} {version}",
        "licenses": [{"license": {"id": licence}}],
        "purl": f"pkg:deb/debian/{package}@{version}?arch=source",
        "pedigree": {"patches": patches},
        "externalReferences": [
            {"type": "distribution", "url": f"debian-source:{package}/{version}/{file}",
             "hashes": [{"alg": "SHA-256", "content": digest}]}
            for file, digest in files],
    }


def main(output, name, version, manufacturer, epoch, lock, ours, sources, *files):
    packages = pinned(lock)
    libraries = [component(p, *packages[p], ours, sources) for p in LIBRARIES if p in packages]
    shipped = [{
        "type": "file",
        "bom-ref": f"file:{os.path.basename(path)}",
        "name": os.path.basename(path),
        "hashes": [{"alg": "SHA-256", "content": sha256(path)}],
    } for path in sorted(files, key=os.path.basename)]
    product = f"{name} {version}"
    bom = {
        "bomFormat": "CycloneDX",
        "specVersion": "1.5",
        "serialNumber": f"urn:uuid:{uuid.uuid5(uuid.NAMESPACE_URL, product + ''.join(sha256(f) for f in files))}",
        "version": 1,
        "metadata": {
            "timestamp": time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(int(epoch))),
            "component": {"type": "application", "bom-ref": "product", "name": name,
                          "version": version, "supplier": {"name": manufacturer}},
        },
        "components": shipped + libraries,
        "dependencies": [{"ref": "product",
                          "dependsOn": [c["bom-ref"] for c in shipped + libraries]}],
    }
    with open(output + ".new", "w") as f:
        json.dump(bom, f, indent=2, sort_keys=True)
        f.write("\n")
    os.replace(output + ".new", output)


if __name__ == "__main__":
    main(*sys.argv[1:])
