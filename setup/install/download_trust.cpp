#include "setup/install/download_trust.h"

bool IsTrustedDownload(long trust, const std::wstring& signer, const std::wstring& publisher) {
    return trust == 0 && !publisher.empty() && signer == publisher;
}
