#pragma once

#include <string>

// Writes the on-premise server's certificate as PEM to "resources\on-premise-pubkey.crt"
// below baseFolder. body is the certificate's base64 text on one line; each character is
// written as one byte. Returns false when the file could not be created or written.
bool WriteOnPremiseCertificate(const std::wstring& baseFolder, const std::wstring& body);

// The PEM text: body wrapped at 64 characters between the certificate's marker lines.
std::string CertificatePem(const std::wstring& body);

// The path that WriteOnPremiseCertificate writes to.
std::wstring OnPremiseCertificatePath(const std::wstring& baseFolder);
