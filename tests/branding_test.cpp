#include <gtest/gtest.h>

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
}

// What the rows share by rule; the rows' own values are the brand design itself.
TEST(BrandProfiles, FoldersKeysAndSitesFitTogether) {
    for (const CAgentBranding& brand : kBrandProfiles) {
        EXPECT_STREQ(brand.programSubfolder, brand.dataSubfolder);
        EXPECT_EQ(std::wstring(brand.agentRegistryKey),
                  std::wstring(brand.companyRegistryKey) + L"\\Business Agent");
        EXPECT_EQ(std::wstring(brand.programSubfolder),
                  std::wstring(brand.companyFolder) + L"\\Business Agent");
        EXPECT_EQ(std::wstring(brand.webPageUrl).rfind(L"https://", 0), 0u);
    }
}

}  // namespace
