#include "setup/config/certificate.h"

#include "sys/file_sys.h"

bool WriteOnPremiseCertificate(const std::wstring& baseFolder, const std::wstring& body) {
    return !Failed(
        file_sys::WriteWholeFile(OnPremiseCertificatePath(baseFolder), CertificatePem(body)));
}
