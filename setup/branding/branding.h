#pragma once

// Included first on purpose: <windows.h> maps GetServiceDisplayName to its wide form, and
// every user of this header must see the same name.
#include <windows.h>

#include <cstdint>
#include <stdexcept>

enum BrandId : std::uint32_t {
    kBrandUnknown = 0,
    kBrandZelko = 1,
    kBrandOrv = 2,
    kBrandTessan = 3,
};

// Everything textual that differs between the brands. Every getter returns a constant
// string with static lifetime.
class CAgentBranding {
public:
    explicit CAgentBranding(BrandId id) : brandId_(id) {}
    virtual ~CAgentBranding() = default;
    CAgentBranding(const CAgentBranding&) = delete;
    CAgentBranding& operator=(const CAgentBranding&) = delete;

    virtual const wchar_t* GetCompanyRegistryKey() const = 0;
    virtual const wchar_t* GetAgentRegistryKey() const = 0;
    virtual const wchar_t* GetProgramSubfolder() const = 0;
    virtual const wchar_t* GetCompanyFolder() const = 0;
    virtual const wchar_t* GetDataSubfolder() const = 0;
    virtual const wchar_t* GetUninstallRegistryKey() const = 0;
    virtual const wchar_t* GetPublisher() const = 0;
    virtual const wchar_t* GetProductFamilyName() const = 0;
    virtual const wchar_t* GetWebPageUrl() const = 0;
    virtual const wchar_t* GetEulaUrl() const = 0;
    virtual const wchar_t* GetPrivacyPolicyUrl() const = 0;
    virtual const wchar_t* GetServiceName() const = 0;
    virtual const wchar_t* GetServiceDisplayName() const = 0;
    virtual const wchar_t* GetServiceDescription() const = 0;
    virtual const wchar_t* GetAuxiliaryText() const = 0;
    virtual const wchar_t* GetProductGuid() const = 0;
    virtual const wchar_t* GetAgentDownloadUrl() const = 0;
    virtual const wchar_t* GetAntivirusServiceName() const = 0;

    BrandId GetBrandId() const { return brandId_; }

private:
    BrandId brandId_;
};

// The eighteen getters, declared alike by each brand.
#define HOLLIN_BRANDING_GETTERS \
    const wchar_t* GetCompanyRegistryKey() const override; \
    const wchar_t* GetAgentRegistryKey() const override; \
    const wchar_t* GetProgramSubfolder() const override; \
    const wchar_t* GetCompanyFolder() const override; \
    const wchar_t* GetDataSubfolder() const override; \
    const wchar_t* GetUninstallRegistryKey() const override; \
    const wchar_t* GetPublisher() const override; \
    const wchar_t* GetProductFamilyName() const override; \
    const wchar_t* GetWebPageUrl() const override; \
    const wchar_t* GetEulaUrl() const override; \
    const wchar_t* GetPrivacyPolicyUrl() const override; \
    const wchar_t* GetServiceName() const override; \
    const wchar_t* GetServiceDisplayName() const override; \
    const wchar_t* GetServiceDescription() const override; \
    const wchar_t* GetAuxiliaryText() const override; \
    const wchar_t* GetProductGuid() const override; \
    const wchar_t* GetAgentDownloadUrl() const override; \
    const wchar_t* GetAntivirusServiceName() const override;

class CAgentBrandingZelko final : public CAgentBranding {
public:
    CAgentBrandingZelko() : CAgentBranding(kBrandZelko) {}
    HOLLIN_BRANDING_GETTERS
};

class CAgentBrandingOrv final : public CAgentBranding {
public:
    CAgentBrandingOrv() : CAgentBranding(kBrandOrv) {}
    HOLLIN_BRANDING_GETTERS
};

class CAgentBrandingTessan final : public CAgentBranding {
public:
    CAgentBrandingTessan() : CAgentBranding(kBrandTessan) {}
    HOLLIN_BRANDING_GETTERS
};

#undef HOLLIN_BRANDING_GETTERS

// The brand named by the company name of this executable's version information, or
// kBrandUnknown.
BrandId DetectBrand();

// The brand word found in a company name: "zelko", else "orv", else "tessan", any case.
BrandId BrandFromCompanyName(const wchar_t* companyName);

// The process-wide brand profile, detected on first use. Throws std::runtime_error
// "unknown brand id" when the company name carries no brand word.
// What GetBranding throws for a build whose version information names no brand.
class UnknownBrandError : public std::runtime_error {
public:
    UnknownBrandError() : std::runtime_error("unknown brand id") {}
};

CAgentBranding* GetBranding();
