// The configuration's content, built and compared in memory; agent_config.cpp reads and
// writes the files.
#include <openssl/evp.h>

#include "setup/config/agent_config.h"
#include "sys/text_sys.h"

namespace agent_config {
namespace {

// Same length and equal byte by byte after lower-casing in the user's locale.
bool SameIgnoringCase(const std::string& a, const std::string& b) {
    return a.size() == b.size() && text_sys::ToLowerText(a) == text_sys::ToLowerText(b);
}

}  // namespace

std::string Sha256Hex(const std::string& bytes) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest, &length, EVP_sha256(), nullptr) != 1) {
        return {};
    }
    static const char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex.push_back(kHex[digest[i] >> 4]);
        hex.push_back(kHex[digest[i] & 0x0F]);
    }
    return hex;
}

bool HoldsOtherToken(const ini_sys::IniDocument& installed, const std::wstring& token) {
    std::string newToken;
    if (Failed(text_sys::WideToUtf8(token, newToken))) {
        return true;
    }
    const std::string storedToken = installed.GetText(kSection, kToken);
    if (!storedToken.empty()) {
        return !SameIgnoringCase(storedToken, newToken);
    }
    const std::string storedHash = installed.GetText(kSection, kTokenHash);
    if (!storedHash.empty()) {
        return !SameIgnoringCase(storedHash, Sha256Hex(newToken));
    }
    return true;
}

Status BuildAgentConfig(const SetupSettings& settings, ini_sys::IniDocument& document) {
    const Status steps[] = {
        document.SetText(kSection, kBaseUrl, settings.serverUrl),
        document.SetText(kSection, kToken, settings.token),
        document.SetInteger(kSection, kBrandId, static_cast<std::int32_t>(settings.brandId)),
        document.SetBoolean(kSection, kProxyEnabled, settings.proxyMode != 0),
        document.SetText(kSection, kProxyServer, settings.proxyServer),
        document.SetInteger(kSection, kProxyPort, static_cast<std::int32_t>(settings.proxyPort)),
        document.SetBoolean(kSection, kProxyAuthEnabled, settings.proxyAuthEnabled),
        document.SetText(kSection, kProxyLogin, settings.proxyLogin),
        // The envelope is copied as it came; it is opened only in memory, for the runtime.
        document.SetText(kSection, kProxyPasswordEnc, settings.proxyPassword),
        document.SetInteger(kSection, kProxyType, settings.proxyType),
        document.SetInteger(kSection, kProxyAuthType, settings.proxyAuthType),
    };
    for (Status status : steps) {
        if (Failed(status)) {
            return status;
        }
    }
    return kStatusOk;
}

}  // namespace agent_config
