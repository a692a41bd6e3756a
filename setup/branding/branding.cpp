#include "setup/branding/branding.h"

#include <windows.h>

#include <cwctype>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "setup/branding/brand_sites.h"

namespace {

// Strings two brands share are one object, as their getters are one function.
constexpr wchar_t kServiceName[] = L"ClientManager";
constexpr wchar_t kNoText[] = L"";
constexpr wchar_t kSharedProductGuid[] = L"D74B2E19-6A83-4F05-9C1E-2B07F4A86C53";

constexpr wchar_t kZelkoProgramSubfolder[] = L"ZELKO Software\\Business Agent";
constexpr wchar_t kOrvCompany[] = L"ORV";
constexpr wchar_t kOrvProgramSubfolder[] = L"ORV\\Business Agent";
constexpr wchar_t kTessanCompany[] = L"Tessan";
constexpr wchar_t kTessanProgramSubfolder[] = L"Tessan\\Business Agent";

std::unique_ptr<CAgentBranding> g_branding;

}  // namespace

// Brand 1. Its company key and folder are upper case with " Software"; its publisher is not.
const wchar_t* CAgentBrandingZelko::GetCompanyRegistryKey() const {
    return L"SOFTWARE\\ZELKO Software";
}
const wchar_t* CAgentBrandingZelko::GetAgentRegistryKey() const {
    return L"SOFTWARE\\ZELKO Software\\Business Agent";
}
const wchar_t* CAgentBrandingZelko::GetProgramSubfolder() const { return kZelkoProgramSubfolder; }
const wchar_t* CAgentBrandingZelko::GetCompanyFolder() const { return L"ZELKO Software"; }
const wchar_t* CAgentBrandingZelko::GetDataSubfolder() const { return kZelkoProgramSubfolder; }
const wchar_t* CAgentBrandingZelko::GetUninstallRegistryKey() const {
    return L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Zelko Business";
}
const wchar_t* CAgentBrandingZelko::GetPublisher() const { return L"Zelko Software"; }
const wchar_t* CAgentBrandingZelko::GetProductFamilyName() const { return L"Zelko Business"; }
const wchar_t* CAgentBrandingZelko::GetWebPageUrl() const { return BRAND1_BUSINESS_SITE; }
const wchar_t* CAgentBrandingZelko::GetEulaUrl() const { return BRAND1_PUBLIC_SITE L"/eula"; }
const wchar_t* CAgentBrandingZelko::GetPrivacyPolicyUrl() const {
    return BRAND1_PUBLIC_SITE L"/privacy-policy";
}
const wchar_t* CAgentBrandingZelko::GetServiceName() const { return kServiceName; }
const wchar_t* CAgentBrandingZelko::GetServiceDisplayName() const {
    return L"Zelko Business Agent";
}
const wchar_t* CAgentBrandingZelko::GetServiceDescription() const {
    return L"Zelko Business Agent is required for remote management of Zelko products.";
}
const wchar_t* CAgentBrandingZelko::GetAuxiliaryText() const { return kNoText; }
const wchar_t* CAgentBrandingZelko::GetProductGuid() const {
    return L"3C1F7A52-9B0E-4D6A-A2C4-58E91B7D0F36";
}
const wchar_t* CAgentBrandingZelko::GetAgentDownloadUrl() const {
    return BRAND1_BUSINESS_SITE L"/agent/";
}
const wchar_t* CAgentBrandingZelko::GetAntivirusServiceName() const { return L"zelko! Antivirus"; }

// Brand 2. Upper case everywhere but in its uninstall key.
const wchar_t* CAgentBrandingOrv::GetCompanyRegistryKey() const { return L"SOFTWARE\\ORV"; }
const wchar_t* CAgentBrandingOrv::GetAgentRegistryKey() const {
    return L"SOFTWARE\\ORV\\Business Agent";
}
const wchar_t* CAgentBrandingOrv::GetProgramSubfolder() const { return kOrvProgramSubfolder; }
const wchar_t* CAgentBrandingOrv::GetCompanyFolder() const { return kOrvCompany; }
const wchar_t* CAgentBrandingOrv::GetDataSubfolder() const { return kOrvProgramSubfolder; }
const wchar_t* CAgentBrandingOrv::GetUninstallRegistryKey() const {
    return L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Orv Business";
}
const wchar_t* CAgentBrandingOrv::GetPublisher() const { return kOrvCompany; }
const wchar_t* CAgentBrandingOrv::GetProductFamilyName() const { return L"ORV Business"; }
const wchar_t* CAgentBrandingOrv::GetWebPageUrl() const { return BRAND2_PUBLIC_SITE; }
const wchar_t* CAgentBrandingOrv::GetEulaUrl() const { return BRAND2_PUBLIC_SITE L"/eula"; }
const wchar_t* CAgentBrandingOrv::GetPrivacyPolicyUrl() const {
    return BRAND2_PUBLIC_SITE L"/privacy-policy";
}
const wchar_t* CAgentBrandingOrv::GetServiceName() const { return kServiceName; }
const wchar_t* CAgentBrandingOrv::GetServiceDisplayName() const { return L"ORV Business Agent"; }
const wchar_t* CAgentBrandingOrv::GetServiceDescription() const {
    return L"ORV Business Agent is required for remote management of ORV products.";
}
const wchar_t* CAgentBrandingOrv::GetAuxiliaryText() const { return kNoText; }
const wchar_t* CAgentBrandingOrv::GetProductGuid() const { return kSharedProductGuid; }
const wchar_t* CAgentBrandingOrv::GetAgentDownloadUrl() const {
    return BRAND2_BUSINESS_SITE L"/agent/";
}
const wchar_t* CAgentBrandingOrv::GetAntivirusServiceName() const { return L"ORV Antivirus"; }

// Brand 3. No " Software" suffix; it shares brand 2's product GUID.
const wchar_t* CAgentBrandingTessan::GetCompanyRegistryKey() const { return L"SOFTWARE\\Tessan"; }
const wchar_t* CAgentBrandingTessan::GetAgentRegistryKey() const {
    return L"SOFTWARE\\Tessan\\Business Agent";
}
const wchar_t* CAgentBrandingTessan::GetProgramSubfolder() const {
    return kTessanProgramSubfolder;
}
const wchar_t* CAgentBrandingTessan::GetCompanyFolder() const { return kTessanCompany; }
const wchar_t* CAgentBrandingTessan::GetDataSubfolder() const { return kTessanProgramSubfolder; }
const wchar_t* CAgentBrandingTessan::GetUninstallRegistryKey() const {
    return L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Tessan Business";
}
const wchar_t* CAgentBrandingTessan::GetPublisher() const { return kTessanCompany; }
const wchar_t* CAgentBrandingTessan::GetProductFamilyName() const { return L"Tessan Business"; }
const wchar_t* CAgentBrandingTessan::GetWebPageUrl() const { return BRAND3_PUBLIC_SITE; }
const wchar_t* CAgentBrandingTessan::GetEulaUrl() const {
    return BRAND3_LEGAL_SITE L"/us/en/legal/license-services-agreement/";
}
const wchar_t* CAgentBrandingTessan::GetPrivacyPolicyUrl() const {
    return BRAND3_LEGAL_SITE L"/us/en/privacy/global-privacy-statement/";
}
const wchar_t* CAgentBrandingTessan::GetServiceName() const { return kServiceName; }
const wchar_t* CAgentBrandingTessan::GetServiceDisplayName() const {
    return L"Tessan Business Agent";
}
const wchar_t* CAgentBrandingTessan::GetServiceDescription() const {
    return L"Tessan Business Agent is required for remote management of Tessan products.";
}
const wchar_t* CAgentBrandingTessan::GetAuxiliaryText() const { return kNoText; }
const wchar_t* CAgentBrandingTessan::GetProductGuid() const { return kSharedProductGuid; }
const wchar_t* CAgentBrandingTessan::GetAgentDownloadUrl() const {
    return BRAND3_BUSINESS_SITE L"/agent/";
}
const wchar_t* CAgentBrandingTessan::GetAntivirusServiceName() const {
    return L"Tessan Antivirus";
}

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

CAgentBranding* GetBranding() {
    if (g_branding) {
        return g_branding.get();
    }
    switch (DetectBrand()) {
        case kBrandZelko:
            g_branding = std::make_unique<CAgentBrandingZelko>();
            break;
        case kBrandOrv:
            g_branding = std::make_unique<CAgentBrandingOrv>();
            break;
        case kBrandTessan:
            g_branding = std::make_unique<CAgentBrandingTessan>();
            break;
        default:
            throw UnknownBrandError();
    }
    return g_branding.get();
}
