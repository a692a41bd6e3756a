#pragma once

#include <string>

// Whether a downloaded installer may run: its signature and chain hold (WinVerifyTrust
// answered 0) and it was signed by the publisher expected for it. Anyone can buy a code
// signing certificate, so a valid signature alone proves nothing.
bool IsTrustedDownload(long trust, const std::wstring& signer, const std::wstring& publisher);
