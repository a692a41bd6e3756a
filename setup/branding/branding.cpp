#include "setup/branding/branding.h"

#include <windows.h>

#include <cwctype>
#include <stdexcept>
#include <string>
#include <vector>

#include "setup/branding/brand_sites.h"

namespace {

constexpr wchar_t kServiceName[] = L"ClientManager";
constexpr wchar_t kSharedProductGuid[] = L"D74B2E19-6A83-4F05-9C1E-2B07F4A86C53";

}  // namespace

// Each brand has its irregularities, kept as they ship: brand 1's company key and folder are
// upper case with " Software" and its publisher is not; brand 2 is upper case everywhere but
// in its uninstall key; brand 3 has no " Software" suffix and shares brand 2's product GUID.
// Brand 1 points at its business site, the others at their public sites.
const CAgentBranding kBrandProfiles[3] = {
    {
        .id = kBrandZelko,
        .companyRegistryKey = L"SOFTWARE\\ZELKO Software",
        .agentRegistryKey = L"SOFTWARE\\ZELKO Software\\Business Agent",
        .programSubfolder = L"ZELKO Software\\Business Agent",
        .companyFolder = L"ZELKO Software",
        .dataSubfolder = L"ZELKO Software\\Business Agent",
        .uninstallRegistryKey =
            L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Zelko Business",
        .publisher = L"Zelko Software",
        .productFamilyName = L"Zelko Business",
        .webPageUrl = BRAND1_BUSINESS_SITE,
        .eulaUrl = BRAND1_PUBLIC_SITE L"/eula",
        .privacyPolicyUrl = BRAND1_PUBLIC_SITE L"/privacy-policy",
        .serviceName = kServiceName,
        .serviceDisplayName = L"Zelko Business Agent",
        .serviceDescription =
            L"Zelko Business Agent is required for remote management of Zelko products.",
        .auxiliaryText = L"",
        .productGuid = L"3C1F7A52-9B0E-4D6A-A2C4-58E91B7D0F36",
        .agentDownloadUrl = BRAND1_BUSINESS_SITE L"/agent/",
        .antivirusServiceName = L"zelko! Antivirus",
    },
    {
        .id = kBrandOrv,
        .companyRegistryKey = L"SOFTWARE\\ORV",
        .agentRegistryKey = L"SOFTWARE\\ORV\\Business Agent",
        .programSubfolder = L"ORV\\Business Agent",
        .companyFolder = L"ORV",
        .dataSubfolder = L"ORV\\Business Agent",
        .uninstallRegistryKey =
            L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Orv Business",
        .publisher = L"ORV",
        .productFamilyName = L"ORV Business",
        .webPageUrl = BRAND2_PUBLIC_SITE,
        .eulaUrl = BRAND2_PUBLIC_SITE L"/eula",
        .privacyPolicyUrl = BRAND2_PUBLIC_SITE L"/privacy-policy",
        .serviceName = kServiceName,
        .serviceDisplayName = L"ORV Business Agent",
        .serviceDescription =
            L"ORV Business Agent is required for remote management of ORV products.",
        .auxiliaryText = L"",
        .productGuid = kSharedProductGuid,
        .agentDownloadUrl = BRAND2_BUSINESS_SITE L"/agent/",
        .antivirusServiceName = L"ORV Antivirus",
    },
    {
        .id = kBrandTessan,
        .companyRegistryKey = L"SOFTWARE\\Tessan",
        .agentRegistryKey = L"SOFTWARE\\Tessan\\Business Agent",
        .programSubfolder = L"Tessan\\Business Agent",
        .companyFolder = L"Tessan",
        .dataSubfolder = L"Tessan\\Business Agent",
        .uninstallRegistryKey =
            L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Tessan Business",
        .publisher = L"Tessan",
        .productFamilyName = L"Tessan Business",
        .webPageUrl = BRAND3_PUBLIC_SITE,
        .eulaUrl = BRAND3_LEGAL_SITE L"/us/en/legal/license-services-agreement/",
        .privacyPolicyUrl = BRAND3_LEGAL_SITE L"/us/en/privacy/global-privacy-statement/",
        .serviceName = kServiceName,
        .serviceDisplayName = L"Tessan Business Agent",
        .serviceDescription =
            L"Tessan Business Agent is required for remote management of Tessan products.",
        .auxiliaryText = L"",
        .productGuid = kSharedProductGuid,
        .agentDownloadUrl = BRAND3_BUSINESS_SITE L"/agent/",
        .antivirusServiceName = L"Tessan Antivirus",
    },
};

BrandId BrandFromCompanyName(const wchar_t* companyName) {
    std::wstring lower = companyName != nullptr ? companyName : L"";
    for (wchar_t& c : lower) {
        c = static_cast<wchar_t>(std::towlower(c));
    }
    if (lower.find(L"zelko") != std::wstring::npos) {
        return kBrandZelko;
    }
    if (lower.find(L"orv") != std::wstring::npos) {
        return kBrandOrv;
    }
    if (lower.find(L"tessan") != std::wstring::npos) {
        return kBrandTessan;
    }
    return kBrandUnknown;
}

BrandId DetectBrand() {
    wchar_t path[MAX_PATH] = {};
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    DWORD handle = 0;
    DWORD size = GetFileVersionInfoSizeW(path, &handle);
    if (size == 0) {
        return kBrandUnknown;  // no version information: no brand word either
    }
    std::vector<BYTE> info(size, 0);
    if (!GetFileVersionInfoW(path, 0, size, info.data())) {
        return kBrandUnknown;
    }
    wchar_t* company = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(info.data(), L"\\StringFileInfo\\040904b0\\CompanyName",
                        reinterpret_cast<void**>(&company), &length) ||
        company == nullptr) {
        return kBrandUnknown;
    }
    return BrandFromCompanyName(std::wstring(company, wcsnlen(company, length)).c_str());
}

const CAgentBranding& BrandProfile(BrandId id) {
    for (const CAgentBranding& profile : kBrandProfiles) {
        if (profile.id == id) {
            return profile;
        }
    }
    throw UnknownBrandError();
}

const CAgentBranding& GetBranding() {
    static const CAgentBranding* const profile = &BrandProfile(DetectBrand());
    return *profile;
}
