#!/usr/bin/env bash
# A throwaway root and a code-signing certificate under it, for the tests' signed builds:
# FOLDER/root.pem, FOLDER/signer.p12 and FOLDER/password. Made once; nothing trusts them.
# Usage: make_test_key.sh FOLDER
set -euo pipefail
folder=$1
[ -s "$folder/signer.p12" ] && exit 0
mkdir -p "$folder"
cd "$folder"
openssl req -x509 -newkey rsa:2048 -nodes -keyout root.key -out root.pem -days 36500 \
    -subj "/CN=Business Agent Test Root" -addext "basicConstraints=critical,CA:TRUE" \
    -addext "keyUsage=critical,keyCertSign,cRLSign" 2>/dev/null
openssl req -newkey rsa:2048 -nodes -keyout signer.key -out signer.csr \
    -subj "/CN=Business Agent Test Signer" 2>/dev/null
printf 'basicConstraints=CA:FALSE\nkeyUsage=critical,digitalSignature\nextendedKeyUsage=codeSigning\n' >signer.ext
openssl x509 -req -in signer.csr -CA root.pem -CAkey root.key -CAcreateserial -days 36500 \
    -extfile signer.ext -out signer.pem 2>/dev/null
openssl rand -hex 16 >password
openssl pkcs12 -export -inkey signer.key -in signer.pem -certfile root.pem -out signer.p12.new \
    -passout file:password
rm -f root.key signer.key signer.csr root.srl
mv signer.p12.new signer.p12
