#include <gtest/gtest.h>

#include <regex>

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
    Status Note(const wchar_t* name, const wchar_t* text) {
        calls.push_back(std::wstring(name) + L"(" + text + L")");
        return kStatusOk;
    }
    template <class Number>
    Status Note(const wchar_t* name, Number value) {
        return Note(name, std::to_wstring(value).c_str());
    }
};

std::vector<std::wstring> Handover(const SetupSettings& settings) {
    RecordingProxy proxy;
    EXPECT_EQ(ApplyProxySettings(proxy, settings), kStatusOk);
    return proxy.calls;
}

TEST(ProxyHandover, DirectConnectionForModesZeroAndOne) {
    SetupSettings settings;
    settings.proxyServer = L"proxy.example";
    EXPECT_EQ(Handover(settings), std::vector<std::wstring>{L"EnableProxy(0)"});
    settings.proxyMode = 1;
    EXPECT_EQ(Handover(settings), std::vector<std::wstring>{L"EnableProxy(0)"});
}

TEST(ProxyHandover, EverySettingInOrder) {
    SetupSettings settings;
    settings.proxyMode = 3;
    settings.proxyServer = L"proxy.example";
    settings.proxyPort = 3128;
    settings.proxyAuthEnabled = true;
    settings.proxyLogin = L"ops";
    settings.token = L"0123456789abcdefghijklmnopqrstuvWXYZ";
    const std::string sealed = test_support::SealProxyPassword(
        "s3cret", test_support::Narrow(settings.token));
    settings.proxyPassword = L"v1:k:n:" + std::wstring(sealed.begin(), sealed.end());
    settings.proxyType = 2;
    settings.proxyAuthType = 1;
    const std::vector<std::wstring> expected = {
        L"EnableProxy(1)",       L"SetProxyAutoDetect(1)", L"SetProxyServer(proxy.example)",
        L"SetProxyPort(3128)",   L"SetProxyAuthentication(1)", L"SetProxyLogin(ops)",
        L"SetProxyPassword(s3cret)", L"SetProxyType(2)", L"SetAuthenticationScheme(8)"};
    EXPECT_EQ(Handover(settings), expected);

    // Unset texts and ports are left out; a password that does not open is left out.
    settings.proxyMode = 2;
    settings.proxyServer.clear();
    settings.proxyLogin.clear();
    settings.proxyPort = 0;
    settings.token = L"another-token-of-thirty-two-chars!!";
    settings.proxyAuthType = 2;
    EXPECT_EQ(Handover(settings),
              (std::vector<std::wstring>{L"EnableProxy(1)", L"SetProxyAutoDetect(0)",
                                         L"SetProxyAuthentication(1)", L"SetProxyType(2)",
                                         L"SetAuthenticationScheme(1)"}));
    settings.proxyPort = 0xFFFFFFFF;  // not given
    settings.proxyAuthType = 3;
    const std::vector<std::wstring> calls = Handover(settings);
    EXPECT_EQ(calls.back(), L"SetAuthenticationScheme(4)");
    for (const std::wstring& call : calls) {
        EXPECT_EQ(call.find(L"SetProxyPort"), std::wstring::npos) << "-1 is no port";
    }
    settings.proxyAuthType = 4;
    EXPECT_EQ(Handover(settings).back(), L"SetProxyType(2)");
}

// Records the lines handed to the logger with their level.
class RecordingLogger final : public CObjectBase<ILogger> {
public:
    Status SetLogFileName(const wchar_t* name) override {
        fileName = name;
        return kStatusOk;
    }
    Status SetComponentName(const wchar_t* name) override {
        component = name;
        return kStatusOk;
    }
    void Debug(const wchar_t* line) override { lines.emplace_back(L"debug", line); }
    void Info(const wchar_t* line) override { lines.emplace_back(L"info", line); }
    void Warning(const wchar_t* line) override { lines.emplace_back(L"warning", line); }
    void Error(const wchar_t* line) override { lines.emplace_back(L"error", line); }
    std::wstring fileName;
    std::wstring component;
    std::vector<std::pair<std::wstring, std::wstring>> lines;
};

class LoggerRuntime final : public CObjectBase<IRuntime> {
public:
    explicit LoggerRuntime(RecordingLogger* logger) : logger_(logger) {}
    Status GetCommunication(ICommunication**) override { return kStatusNotImplemented; }
    Status CreateLogger(ILogger** logger) override {
        logger_->AddRef();
        *logger = logger_;
        return kStatusOk;
    }
    Status GetConfiguration(IConfigurationPrivate**) override { return kStatusNotImplemented; }
    Status GetResourceManager(IResourceManager**) override { return kStatusNotImplemented; }
    Status GetProcessManager(IProcessManager**) override { return kStatusNotImplemented; }

private:
    RecordingLogger* logger_;
};

void WriteEachForm(CLogging& log) {
    constexpr char kFunction[] = "AgentInstaller::Install";
    log.Info(kFunction, L"Installing agent service...");
    log.Info(kFunction, L"not found", kStatusNotFound);
    log.Warning(kFunction, L"remark", 1);
    log.Result(kFunction, kStatusOk);
    log.Result(kFunction, kStatusNoRuntime);
    log.InfoPrefixed(kFunction, L"Remote deployment id - [r-1]");
    log.Trace(kFunction);
    EXPECT_EQ(log.Check(kStatusOk, kFunction, L"not logged"), kStatusOk);
    EXPECT_EQ(log.Check(kStatusInviteGone, kFunction, L"checked"), kStatusInviteGone);
}

TEST(Logging, LineFormsAndLevels) {
    CLogging log(kInstallerLogFile, L"Installer");

    CObjectSmPtr<RecordingLogger> logger(new RecordingLogger());
    LoggerRuntime runtime(logger.Get());
    ASSERT_EQ(log.SetupLogging(&runtime), kStatusOk);
    EXPECT_EQ(logger->fileName, L"agentinstaller.log");
    EXPECT_EQ(logger->component, L"Installer");
    EXPECT_EQ(log.SetupLogging(nullptr), kStatusNoRuntime);
    ASSERT_EQ(log.SetupLogging(&runtime), kStatusOk);

    WriteEachForm(log);
    // Level and message after "file(line) function: "; a trace is the place alone.
    const std::vector<std::pair<std::wstring, std::wstring>> expected = {
        {L"info", L"Installing agent service..."}, {L"info", L"not found [0x80000013]"},
        {L"warning", L"remark"},                   {L"debug", L"OK"},
        {L"error", L"Failed: [0x80000001]"},        {L"info", L"Remote deployment id - [r-1]"},
        {L"debug", L""},                            {L"error", L"checked [0x80000064]"}};
    ASSERT_EQ(logger->lines.size(), expected.size());
    const std::wregex form(LR"(runtime_test\.cpp\(\d+\) AgentInstaller::Install(: (.*))?)");
    for (size_t i = 0; i < expected.size(); ++i) {
        std::wsmatch match;
        ASSERT_TRUE(std::regex_match(logger->lines[i].second, match, form))
            << test_support::Narrow(logger->lines[i].second);
        EXPECT_EQ(std::make_pair(logger->lines[i].first, match[2].str()), expected[i]) << i;
    }
}

TEST(Logging, BothPrefixFormsAgreeAtAnyLength) {
    const std::string longName = "AgentInstaller::" + std::string(600, 'x');
    const std::wstring longMessage(700, L'm');
    EXPECT_EQ(CLogging::FormatPrefix("C:\\src\\setup\\install\\agent_installer.cpp", 42,
                                     longName.c_str()) +
                  longMessage,
              CLogging::FormatLine("C:\\src\\setup\\install\\agent_installer.cpp", 42,
                                   longName.c_str(), longMessage, kStatusOk));
    EXPECT_EQ(CLogging::FormatLine("/src/setup/auth/auth.cpp", 7, "CAuth::Exchange", L"m",
                                   kStatusInviteGone),
              L"auth.cpp(7) CAuth::Exchange: m [0x80000064]");
}

TEST(LibraryLoader, CachesByLowerCaseNameAndUnloadsWhenUnused) {
    EXPECT_EQ(CLibraryLoader::CacheKey(L"Runtime"), L"runtime.dll");
    EXPECT_EQ(CLibraryLoader::CacheKey(L"C:\\agent\\RUNTIME.DLL"), L"runtime.dll");

    CLibraryLoader loader;
    HMODULE runtime = loader.Load(L"Runtime");
    ASSERT_NE(runtime, nullptr);
    EXPECT_EQ(loader.Load(L"runtime.dll"), runtime);
    EXPECT_EQ(loader.GetLoaded(L"RUNTIME"), runtime);
    HMODULE sqlite = loader.Load(L"sqlite3");
    ASSERT_NE(sqlite, nullptr) << "sqlite3.dll has no GetLockCount export";

    CObjectSmPtr<IRuntimeManager> manager;
    ASSERT_EQ(LoadRuntimeManager(loader, test_support::BinFolder(), manager), kStatusOk);
    loader.UnloadUnused();
    EXPECT_EQ(loader.GetLoaded(L"runtime"), runtime) << "a live manager keeps it loaded";
    manager.Reset();
    loader.UnloadUnused();
    EXPECT_EQ(loader.GetLoaded(L"runtime"), nullptr);
    EXPECT_EQ(loader.GetLoaded(L"sqlite3"), sqlite);
    EXPECT_EQ(loader.Load(L"no_such_library"), nullptr);
}

TEST(LibraryLoader, NeverFreesALibraryUnderLiveObjects) {
    CObjectSmPtr<IRuntimeManager> manager;
    HMODULE runtime = nullptr;
    {
        CLibraryLoader loader;
        ASSERT_EQ(LoadRuntimeManager(loader, test_support::BinFolder(), manager), kStatusOk);
        runtime = loader.GetLoaded(L"runtime");
    }
    HMODULE stillThere = nullptr;
    EXPECT_TRUE(GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS |
                                       GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                                   reinterpret_cast<LPCWSTR>(runtime), &stillThere));
    EXPECT_EQ(stillThere, runtime);
    CObjectSmPtr<IRuntimeManagerConfiguration> configuration;
    EXPECT_EQ(manager->GetConfiguration(configuration.Receive()), kStatusOk);
    configuration.Reset();
    manager.Reset();  // runs code of the library: it must still be mapped
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
