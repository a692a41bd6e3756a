#pragma once

#include <windows.h>

#include <string>

// Authenticode signatures of files, as Windows checks them before it runs a program.
namespace signature_sys {

struct Signature {
    LONG trust;          // WinVerifyTrust's answer: 0 when the signature and its chain hold
    std::wstring signer;  // the signing certificate's subject name, empty without one
};

Signature Check(const std::wstring& path);

}  // namespace signature_sys
