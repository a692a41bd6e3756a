#include "setup/config/certificate.h"

#include "sys/text_sys.h"

std::wstring OnPremiseCertificatePath(const std::wstring& baseFolder) {
    return text_sys::JoinPath(baseFolder, L"resources\\on-premise-pubkey.crt");
}

std::string CertificatePem(const std::wstring& body) {
    std::string pem = "-----BEGIN CERTIFICATE-----\n";
    for (size_t i = 0; i < body.size(); ++i) {
        pem.push_back(static_cast<char>(body[i] & 0xFF));
        if ((i + 1) % 64 == 0 && i + 1 != body.size()) {
            pem.push_back('\n');
        }
    }
    pem += "\n-----END CERTIFICATE-----";
    return pem;
}
