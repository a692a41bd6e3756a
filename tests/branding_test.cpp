#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "setup/branding/branding.h"
#include "sys/process_sys.h"
#include "tests/support/test_support.h"

namespace {

struct ProbeResult {
    DWORD exitCode;
    std::wstring output;
};

ProbeResult RunProbe(const std::wstring& name, const wchar_t* arguments = nullptr) {
    process_sys::ChildProcess probe(
        process_sys::BuildCommandLine(test_support::BinFolder() + L"\\" + name, arguments),
        process_sys::ChildStreams::kOutput);
    EXPECT_TRUE(probe.Started()) << test_support::Narrow(name);
    ProbeResult result{0xDEADBEEF, probe.ReadOutput()};
    EXPECT_EQ(probe.Wait(30000), kStatusOk);
    GetExitCodeProcess(probe.Process(), &result.exitCode);
    return result;
}

// Each probe is one small program built with its own company name.
TEST(BrandDetection, FromTheCompanyNameOfTheVersionInformation) {
    EXPECT_EQ(RunProbe(L"brand_probe_1.exe").exitCode, 1u);        // "zElKo Software s.r.o."
    EXPECT_EQ(RunProbe(L"brand_probe_2.exe").exitCode, 2u);        // "Orv a.s."
    EXPECT_EQ(RunProbe(L"brand_probe_3.exe").exitCode, 3u);        // "TESSAN Corporation"
    EXPECT_EQ(RunProbe(L"brand_probe_two.exe").exitCode, 1u);      // Tessan and Zelko
    EXPECT_EQ(RunProbe(L"brand_probe_suffix.exe").exitCode, 2u);   // "Dvorv Industries"
    EXPECT_EQ(RunProbe(L"brand_probe_none.exe").exitCode, 0u);     // no brand word
    EXPECT_EQ(RunProbe(L"brand_probe_unversioned.exe").exitCode, 0u);
}

TEST(BrandDetection, ProfileOrUnknownBrandId) {
    ProbeResult orv = RunProbe(L"brand_probe_2.exe", L"get");
    EXPECT_EQ(orv.exitCode, 2u);
    EXPECT_EQ(orv.output, L"ORV Business Agent");

    ProbeResult none = RunProbe(L"brand_probe_none.exe", L"get");
    EXPECT_EQ(none.exitCode, 100u);
    EXPECT_EQ(none.output, L"unknown brand id");

    // This test program carries the default build's company name.
    CAgentBranding* branding = GetBranding();
    EXPECT_EQ(branding->GetBrandId(), kBrandZelko);
    EXPECT_EQ(GetBranding(), branding);
}

TEST(BrandProfiles, KeepTheirIrregularities) {
    CAgentBrandingZelko zelko;
    CAgentBrandingOrv orv;
    CAgentBrandingTessan tessan;
    const CAgentBranding* all[] = {&zelko, &orv, &tessan};
    for (const CAgentBranding* brand : all) {
        EXPECT_STREQ(brand->GetProgramSubfolder(), brand->GetDataSubfolder());
        EXPECT_STREQ(brand->GetServiceName(), L"ClientManager");
        EXPECT_STREQ(brand->GetAuxiliaryText(), L"");
        EXPECT_EQ(std::wstring(brand->GetAgentRegistryKey()),
                  std::wstring(brand->GetCompanyRegistryKey()) + L"\\Business Agent");
        EXPECT_EQ(std::wstring(brand->GetProgramSubfolder()),
                  std::wstring(brand->GetCompanyFolder()) + L"\\Business Agent");
        EXPECT_EQ(std::wstring(brand->GetProductGuid()).size(), 36u);
    }
    EXPECT_STREQ(orv.GetProductGuid(), tessan.GetProductGuid());
    EXPECT_STRNE(zelko.GetProductGuid(), orv.GetProductGuid());

    EXPECT_STREQ(zelko.GetCompanyFolder(), L"ZELKO Software");
    EXPECT_STREQ(zelko.GetPublisher(), L"Zelko Software");
    EXPECT_STREQ(orv.GetCompanyFolder(), orv.GetPublisher());
    EXPECT_STREQ(tessan.GetCompanyFolder(), tessan.GetPublisher());
    EXPECT_STREQ(orv.GetUninstallRegistryKey(),
                 L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Orv Business");

    // Brand 1 points at its business site, the others at their public sites.
    const std::wstring zelkoDownload = zelko.GetAgentDownloadUrl();
    EXPECT_EQ(zelkoDownload, std::wstring(zelko.GetWebPageUrl()) + L"/agent/");
    EXPECT_NE(std::wstring(orv.GetAgentDownloadUrl()),
              std::wstring(orv.GetWebPageUrl()) + L"/agent/");
    EXPECT_EQ(std::wstring(orv.GetEulaUrl()), std::wstring(orv.GetWebPageUrl()) + L"/eula");
    EXPECT_EQ(std::wstring(tessan.GetEulaUrl()).find(tessan.GetWebPageUrl()), std::wstring::npos);
    for (const CAgentBranding* brand : all) {
        EXPECT_EQ(std::wstring(brand->GetWebPageUrl()).rfind(L"https://", 0), 0u);
    }
}

}  // namespace
