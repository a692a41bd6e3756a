#pragma once

#include <cstdint>
#include <stdexcept>

enum BrandId : std::uint32_t {
    kBrandUnknown = 0,
    kBrandZelko = 1,
    kBrandOrv = 2,
    kBrandTessan = 3,
};

// Everything textual that differs between the brands: one row of kBrandProfiles. Every text
// is a constant with static lifetime.
struct CAgentBranding {
    BrandId id;
    const wchar_t* companyRegistryKey;
    const wchar_t* agentRegistryKey;
    const wchar_t* programSubfolder;
    const wchar_t* companyFolder;
    const wchar_t* dataSubfolder;
    const wchar_t* uninstallRegistryKey;
    const wchar_t* publisher;
    const wchar_t* productFamilyName;
    const wchar_t* webPageUrl;
    const wchar_t* eulaUrl;
    const wchar_t* privacyPolicyUrl;
    const wchar_t* serviceName;
    const wchar_t* serviceDisplayName;
    const wchar_t* serviceDescription;
    const wchar_t* auxiliaryText;
    const wchar_t* productGuid;
    const wchar_t* agentDownloadUrl;
    const wchar_t* antivirusServiceName;
};

// The three brands, in the order of their ids.
extern const CAgentBranding kBrandProfiles[3];

// The brand named by the company name of this executable's version information, or
// kBrandUnknown.
BrandId DetectBrand();

// The brand word found in a company name: "zelko", else "orv", else "tessan", any case.
BrandId BrandFromCompanyName(const wchar_t* companyName);

// What GetBranding throws for a build whose version information names no brand.
class UnknownBrandError : public std::runtime_error {
public:
    UnknownBrandError() : std::runtime_error("unknown brand id") {}
};

// The profile of a brand id; throws UnknownBrandError for any other number.
const CAgentBranding& BrandProfile(BrandId id);

// The process-wide brand profile, detected on first use; throws UnknownBrandError when the
// company name carries no brand word.
const CAgentBranding& GetBranding();
