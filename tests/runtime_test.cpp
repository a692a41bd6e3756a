#include <gtest/gtest.h>

#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "setup/logging.h"
#include "sys/library_loader.h"
#include "setup/runtime/runtime_bridge.h"
#include "setup/runtime/runtime_settings.h"
#include "tests/support/test_support.h"

namespace {

// Records every call, as "Operation(value)".
class RecordingProxy final : public CObjectBase<ICommunicationConfiguration> {
public:
    Status EnableProxy(bool on) override { return Note(L"EnableProxy", on); }
    Status SetProxyAutoDetect(bool on) override { return Note(L"SetProxyAutoDetect", on); }
    Status SetProxyServer(const wchar_t* text) override { return Note(L"SetProxyServer", text); }
    Status SetProxyPort(std::int32_t port) override { return Note(L"SetProxyPort", port); }
    Status SetProxyAuthentication(bool on) override { return Note(L"SetProxyAuthentication", on); }
    Status SetProxyLogin(const wchar_t* text) override { return Note(L"SetProxyLogin", text); }
    Status SetProxyPassword(const wchar_t* text) override { return Note(L"SetProxyPassword", text); }
    Status SetProxyType(std::int32_t type) override { return Note(L"SetProxyType", type); }
    Status SetAuthenticationScheme(std::uint32_t flags) override {
        return Note(L"SetAuthenticationScheme", flags);
    }
    std::vector<std::wstring> calls;

private:
    Status Note(const wchar_t* name, const std::wstring& value) {
        calls.push_back(std::wstring(name) + L"(" + value + L")");
        return kStatusOk;
    }
    Status Note(const wchar_t* name, long long value) { return Note(name, std::to_wstring(value)); }
};

std::vector<std::wstring> Handover(const SetupSettings& settings) {
    RecordingProxy proxy;
    EXPECT_EQ(ApplyProxySettings(proxy, settings), kStatusOk);
    return proxy.calls;
}

TEST(ProxyHandover, EverySettingInOrderAndOnlyWhatIsGiven) {
    SetupSettings settings{.token = L"0123456789abcdefghijklmnopqrstuvWXYZ",
                           .proxyServer = L"proxy.example", .proxyPort = 3128,
                           .proxyAuthEnabled = true, .proxyLogin = L"ops", .proxyType = 2,
                           .proxyAuthType = 1};
    EXPECT_EQ(Handover(settings), std::vector<std::wstring>{L"EnableProxy(0)"});
    settings.proxyMode = 1;  // direct as well
    EXPECT_EQ(Handover(settings), std::vector<std::wstring>{L"EnableProxy(0)"});

    settings.proxyMode = 3;
    const std::string sealed =
        test_support::SealProxyPassword("s3cret", test_support::Narrow(settings.token));
    settings.proxyPassword = L"v1:k:n:" + std::wstring(sealed.begin(), sealed.end());
    EXPECT_EQ(Handover(settings),
              (std::vector<std::wstring>{
                  L"EnableProxy(1)", L"SetProxyAutoDetect(1)", L"SetProxyServer(proxy.example)",
                  L"SetProxyPort(3128)", L"SetProxyAuthentication(1)", L"SetProxyLogin(ops)",
                  L"SetProxyPassword(s3cret)", L"SetProxyType(2)", L"SetAuthenticationScheme(8)"}));

    // Unset texts and ports are left out, -1 too; a password that does not open is left out.
    settings.proxyMode = 2;
    settings.proxyServer.clear();
    settings.proxyLogin.clear();
    settings.proxyPort = 0xFFFFFFFF;
    settings.token = L"another-token-of-thirty-two-chars!!";
    settings.proxyAuthType = 4;  // no scheme
    std::vector<std::wstring> expected = {L"EnableProxy(1)", L"SetProxyAutoDetect(0)",
                                          L"SetProxyAuthentication(1)", L"SetProxyType(2)"};
    EXPECT_EQ(Handover(settings), expected);
    settings.proxyAuthType = 2;
    expected.push_back(L"SetAuthenticationScheme(1)");
    EXPECT_EQ(Handover(settings), expected);
    settings.proxyPort = 0;
    settings.proxyAuthType = 3;
    expected.back() = L"SetAuthenticationScheme(4)";
    EXPECT_EQ(Handover(settings), expected);
}

// Each line form at its level, in the file the testbed runtime's logger writes; written
// before the logger is attached, the lines wait for it.
TEST(Logging, LineFormsAndLevels) {
    test_support::TempFolder logs;
    ASSERT_EQ(WriteRuntimeText(L"runtime://directory/log", logs.Path()), kStatusOk);
    CLibraryLoader loader;
    CObjectSmPtr<CRuntimeSettings> host(new CRuntimeSettings());
    RuntimeSession session;
    ASSERT_EQ(StartRuntime(loader, test_support::BinFolder(), SetupSettings(), host.Get(), session),
              kStatusOk);
    CLogging log(kInstallerLogFile, L"Installer");
    constexpr char kFunction[] = "AgentInstaller::Install";
    log.Info(kFunction, L"Installing agent service...");
    log.Info(kFunction, L"not found", kStatusNotFound);
    log.Warning(kFunction, L"remark", 1);
    log.Result(kFunction, kStatusOk);
    EXPECT_EQ(log.SetupLogging(nullptr), kStatusNoRuntime);
    ASSERT_EQ(log.SetupLogging(session.runtime.Get()), kStatusOk);
    log.Result(kFunction, kStatusNoRuntime);
    log.InfoPrefixed(kFunction, L"Remote deployment id - [r-1]");
    log.Trace(kFunction);
    EXPECT_EQ(log.Check(kStatusOk, kFunction, L"not logged"), kStatusOk);
    EXPECT_EQ(log.Check(kStatusInviteGone, kFunction, L"checked"), kStatusInviteGone);
    DeleteRuntimeValue(L"runtime://directory/log");

    // "time [LEVEL] [component] file(line) function: message"; a trace is the place alone.
    const std::regex form(R"([-\d]+ [\d:.]+ \[([A-Z]+)\] \[Installer\] )"
                          R"(runtime_test\.cpp\(\d+\) AgentInstaller::Install(: (.*))?\r)");
    std::istringstream file(test_support::ReadFileBytes(logs / L"agentinstaller.log"));
    std::vector<std::pair<std::string, std::string>> lines;
    for (std::string line; std::getline(file, line);) {
        std::smatch match;
        ASSERT_TRUE(std::regex_match(line, match, form)) << line;
        lines.emplace_back(match[1], match[3]);
    }
    const decltype(lines) expected = {
        {"INFO", "Installing agent service..."}, {"INFO", "not found [0x80000013]"},
        {"WARNING", "remark"}, {"DEBUG", "OK"}, {"ERROR", "Failed: [0x80000001]"},
        {"INFO", "Remote deployment id - [r-1]"}, {"DEBUG", ""}, {"ERROR", "checked [0x80000064]"}};
    EXPECT_EQ(lines, expected);

    // The older way to print the prefix gives the same at any length.
    const char kFile[] = "C:\\src\\setup\\install\\agent_installer.cpp";
    const std::string longName = "AgentInstaller::" + std::string(600, 'x');
    const std::wstring line = CLogging::FormatLine(kFile, 42, longName.c_str(), L"m", kStatusOk);
    EXPECT_EQ(CLogging::FormatPrefix(kFile, 42, longName.c_str()) + L"m", line);
    EXPECT_EQ(line.rfind(L"agent_installer.cpp(42) AgentInstaller::xxx", 0), 0u);
}

// A library goes when no object of it lives, and never from under a live one, even when
// its loader goes first.
TEST(LibraryLoader, CachesByLowerCaseNameAndUnloadsOnlyWhenUnused) {
    EXPECT_EQ(CLibraryLoader::CacheKey(L"C:\\agent\\RUNTIME.DLL"), L"runtime.dll");
    CObjectSmPtr<IRuntimeManager> manager;
    {
        CLibraryLoader loader;
        HMODULE runtime = loader.Load(L"Runtime");
        ASSERT_NE(runtime, nullptr);
        EXPECT_EQ(loader.Load(L"runtime.dll"), runtime);
        EXPECT_EQ(loader.GetLoaded(L"RUNTIME"), runtime);
        HMODULE sqlite = loader.Load(L"sqlite3");
        ASSERT_NE(sqlite, nullptr) << "sqlite3.dll has no GetLockCount export";
        EXPECT_EQ(loader.Load(L"no_such_library"), nullptr);

        ASSERT_EQ(LoadRuntimeManager(loader, test_support::BinFolder(), manager), kStatusOk);
        loader.UnloadUnused();
        EXPECT_EQ(loader.GetLoaded(L"runtime"), runtime) << "a live manager keeps it loaded";
        manager.Reset();
        loader.UnloadUnused();
        EXPECT_EQ(loader.GetLoaded(L"runtime"), nullptr);
        EXPECT_EQ(loader.GetLoaded(L"sqlite3"), sqlite);

        ASSERT_EQ(LoadRuntimeManager(loader, test_support::BinFolder(), manager), kStatusOk);
    }
    // Both run code of the library: unmapped, the test would crash here.
    CObjectSmPtr<IRuntimeManagerConfiguration> configuration;
    EXPECT_EQ(manager->GetConfiguration(configuration.Receive()), kStatusOk);
    configuration.Reset();
    manager.Reset();
}

TEST(RuntimeSettings, NumbersAndTextsThroughTheRegistry) {
    EXPECT_FALSE(LocateRuntimeSetting(L"runtime://agent/langcode"));  // exact match only
    auto language = LocateRuntimeSetting(L"runtime://agent/LangCode");
    ASSERT_TRUE(language);
    CRuntimeSettings settings;
    std::uint32_t number = 0;
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, language->registryKey.c_str(), L"Clone");
    EXPECT_EQ(settings.GetNumber(L"runtime://agent/clone", &number), kStatusNotFound);
    ASSERT_EQ(settings.SetNumber(L"runtime://agent/clone", 7), kStatusOk);
    EXPECT_EQ(settings.GetNumber(L"runtime://agent/clone", &number), kStatusOk);
    EXPECT_EQ(number, 7u);
    // A number of the wrong size is refused, not copied past its end or half read.
    for (const DWORD size : {1u, 8u}) {
        const BYTE bytes[8] = {1, 2, 3, 4, 5, 6, 7, 8};
        ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, language->registryKey.c_str(), L"Clone",
                                  REG_DWORD, bytes, size),
                  ERROR_SUCCESS);
        EXPECT_EQ(settings.GetNumber(L"runtime://agent/clone", &number), kStatusRegistryFailed)
            << size;
    }
    wchar_t text[8];
    ASSERT_EQ(settings.SetText(L"runtime://directory/temp", L"C:\\temp\\agent"), kStatusOk);
    EXPECT_EQ(settings.GetText(L"runtime://directory/temp", text, 8), kStatusConversionFailed);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, language->registryKey.c_str());
}

}  // namespace
