#include "sys/signature_sys.h"

#include <softpub.h>
#include <wintrust.h>

namespace signature_sys {
namespace {

std::wstring SignerName(HANDLE state) {
    CRYPT_PROVIDER_DATA* provider = WTHelperProvDataFromStateData(state);
    CRYPT_PROVIDER_SGNR* signer =
        provider != nullptr ? WTHelperGetProvSignerFromChain(provider, 0, FALSE, 0) : nullptr;
    CRYPT_PROVIDER_CERT* certificate =
        signer != nullptr ? WTHelperGetProvCertFromChain(signer, 0) : nullptr;
    wchar_t name[256] = {};
    if (certificate != nullptr) {
        CertGetNameStringW(certificate->pCert, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name,
                           256);
    }
    return name;
}

}  // namespace

Signature Check(const std::wstring& path) {
    WINTRUST_FILE_INFO file{};
    file.cbStruct = sizeof(file);
    file.pcwszFilePath = path.c_str();
    WINTRUST_DATA data{};
    data.cbStruct = sizeof(data);
    data.dwUIChoice = WTD_UI_NONE;
    // Revocation lists need the network, which a managed machine may not reach: the chain
    // to a trusted root and the signer's name decide.
    data.fdwRevocationChecks = WTD_REVOKE_NONE;
    data.dwUnionChoice = WTD_CHOICE_FILE;
    data.pFile = &file;
    data.dwStateAction = WTD_STATEACTION_VERIFY;
    GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
    Signature signature{WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data), {}};
    signature.signer = SignerName(data.hWVTStateData);
    data.dwStateAction = WTD_STATEACTION_CLOSE;
    WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data);  // frees the state
    return signature;
}

}  // namespace signature_sys
