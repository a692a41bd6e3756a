#!/usr/bin/env bash
# Signs copies of the .NET installer stand-in under a throwaway root made here:
#   sign_stub.sh STUB FOLDER
# writes FOLDER/net_installer_stub_signed.exe (signer "Hollin Test Publisher", the name the
# tests expect) and FOLDER/net_installer_stub_other.exe (signer "Hollin Other Publisher").
set -euo pipefail
stub=$1 folder=$2
keys=$(mktemp -d)
trap 'rm -rf "$keys"' EXIT
openssl req -x509 -newkey rsa:2048 -nodes -days 3650 -subj "/CN=Hollin Test Root" \
    -keyout "$keys/root.key" -out "$keys/root.pem" -addext basicConstraints=critical,CA:TRUE \
    2>/dev/null
sign() {  # subject, output
    openssl req -newkey rsa:2048 -nodes -subj "/CN=$1" -keyout "$keys/signer.key" \
        -out "$keys/signer.csr" 2>/dev/null
    printf 'extendedKeyUsage=codeSigning\nkeyUsage=digitalSignature\n' >"$keys/ext"
    openssl x509 -req -in "$keys/signer.csr" -CA "$keys/root.pem" -CAkey "$keys/root.key" \
        -set_serial "$RANDOM" -days 3650 -extfile "$keys/ext" -out "$keys/signer.pem" 2>/dev/null
    cat "$keys/signer.pem" "$keys/root.pem" >"$keys/chain.pem"
    osslsigncode sign -certs "$keys/chain.pem" -key "$keys/signer.key" -h sha256 \
        -in "$stub" -out "$2.tmp" >/dev/null
    mv "$2.tmp" "$2"
}
sign "Hollin Test Publisher" "$folder/net_installer_stub_signed.exe"
sign "Hollin Other Publisher" "$folder/net_installer_stub_other.exe"
