#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "setup/install/agent_installer.h"
#include "setup/install/data_tree.h"
#include "setup/runtime/payload.h"
#include "setup/setup_settings.h"
#include "setup/runtime/runtime_settings.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/service_sys.h"
#include "sys/tree_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/test_support.h"

namespace {

using test_support::Narrow;
using test_support::ReadFileBytes;
using test_support::TempFolder;

void Write(const std::wstring& path, const std::string& content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(std::filesystem::path(path), std::ios::binary) << content;
}

// The log comes first, so that it outlives the installer that detaches it.
struct InstallerLogHolder {
    CLogging log{kInstallerLogFile, kInstallerComponent};
};

// An installer with this run's settings, of the files this test program was built beside, and
// a log of its own, which writes nothing until a runtime is attached.
struct TestInstaller : private InstallerLogHolder, public AgentInstaller {
    explicit TestInstaller(InstallerEnvironment environment = {})
        : AgentInstaller(GetSetupSettings(), GetBranding(), log, [&] {
              environment.packageManifest = test_support::ManifestOf(test_support::BinFolder());
              return environment;
          }()) {}
};

// Counts the pauses of polling loops instead of waiting them out.
struct CountedPauses {
    CountedPauses() { process_sys::SetSleepHook([this](std::chrono::milliseconds) { ++count; }); }
    ~CountedPauses() { process_sys::SetSleepHook(nullptr); }
    int count = 0;
};

// A link to an outside folder, in a tree that is copied: the copy skips it. A folder that is
// itself such a link is deleted as the link alone (one inside a deleted folder: uninstall_test).
TEST(FileDeployment, CopiesTreesWithoutExcludedNamesNorLinks) {
    TempFolder source, target, outside;
    std::filesystem::create_directories(source / L"sub\\empty");
    Write(source / L"a.dll", "a");
    Write(source / L"events.db", "skip");
    Write(source / L"sub\\events.db", "skip");
    Write(source / L"sub\\b.dll", "b");
    Write(outside / L"keep.txt", "keep");
    ASSERT_TRUE(CreateSymbolicLinkW((source / L"sub\\link").c_str(), outside.Path().c_str(),
                                    SYMBOLIC_LINK_FLAG_DIRECTORY));
    TestInstaller installer;
    ASSERT_EQ(installer.CopyAllFiles(source.Path(), target / L"deep\\agent", {L"events.db"}),
              kStatusOk);
    EXPECT_EQ(ReadFileBytes(target / L"deep\\agent\\a.dll"), "a");
    EXPECT_EQ(ReadFileBytes(target / L"deep\\agent\\sub\\b.dll"), "b");
    EXPECT_FALSE(test_support::FileExists(target / L"deep\\agent\\events.db"));
    EXPECT_FALSE(test_support::FileExists(target / L"deep\\agent\\sub\\events.db"));
    EXPECT_FALSE(test_support::FileExists(target / L"deep\\agent\\sub\\link"));
    EXPECT_TRUE(std::filesystem::is_directory(target / L"deep\\agent\\sub\\empty"));

    if (GetFileAttributesW((source / L"sub\\link").c_str()) == INVALID_FILE_ATTRIBUTES) {
        GTEST_SKIP() << "CreateSymbolicLinkW reported success and made no link on this system";
    }
    ASSERT_TRUE(CreateSymbolicLinkW((source / L"direct").c_str(), outside.Path().c_str(),
                                    SYMBOLIC_LINK_FLAG_DIRECTORY));
    EXPECT_EQ(DeleteOrDeferFolder(source / L"direct"), kStatusOk);
    EXPECT_FALSE(test_support::FileExists(source / L"direct"));
    EXPECT_EQ(ReadFileBytes(outside / L"keep.txt"), "keep");
}

// Copies new.dll over agent.dll held open with the given sharing; six paused tries come first.
Status CopyOverHeld(const TempFolder& folder, DWORD sharing) {
    Write(folder / L"new.dll", "new");
    Write(folder / L"agent.dll", "old");
    HANDLE held = CreateFileW((folder / L"agent.dll").c_str(), GENERIC_READ, sharing, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(held, INVALID_HANDLE_VALUE);
    CountedPauses pauses;
    const Status status = TestInstaller().CopyFilePath(folder / L"new.dll", folder / L"agent.dll");
    CloseHandle(held);
    EXPECT_EQ(pauses.count, 6);
    return status;
}

TEST(FileDeployment, AHeldDestinationIsMovedAsideOrTheCopyFails) {
    TempFolder folder;
    // Without read or write sharing, but renamable.
    EXPECT_EQ(CopyOverHeld(folder, FILE_SHARE_DELETE), kStatusOk);
    EXPECT_EQ(ReadFileBytes(folder / L"agent.dll"), "new");
    DeleteFileW((folder / L"agent.dll").c_str());
    DeleteFileW((folder / L"new.dll").c_str());
    const std::vector<std::wstring> aside = file_sys::ListFolder(folder.Path());
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_TRUE(
        std::regex_search(Narrow(aside[0]), std::regex(R"(\\agent\.dll\.[a-z]{6}\.delete$)")));
    EXPECT_EQ(ReadFileBytes(aside[0]), "old");

    TempFolder unrenamable;
    EXPECT_EQ(CopyOverHeld(unrenamable, 0), kStatusRenameFailed);
}

TEST(DeferredDeletion, DeletesOrRenamesAndRegisters) {
    // What the entry's own handle reports decides; Wine makes no links to show it with.
    EXPECT_EQ(tree_sys::KindOf(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT),
              tree_sys::EntryKind::kLink) << "a junction is deleted as itself, never entered";
    EXPECT_EQ(tree_sys::KindOf(FILE_ATTRIBUTE_REPARSE_POINT), tree_sys::EntryKind::kLink);
    TempFolder parent;
    EXPECT_EQ(DeleteOrDeferFolder(parent / L"missing"), kStatusOk);

    Write(parent / L"Agent\\logs\\agent.log", "held");
    HANDLE held = CreateFileW((parent / L"Agent\\logs\\agent.log").c_str(), GENERIC_READ,
                              FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, agent_machine::kSessionManager.c_str(),
                       L"PendingFileRenameOperations");
    EXPECT_EQ(DeleteOrDeferFolder(parent / L"Agent"), kStatusRemovalAtRestart);
    CloseHandle(held);

    const std::wstring renamed =
        std::filesystem::directory_iterator(parent.Path())->path().filename().wstring();
    // Whether a folder holding an open file can be renamed is the system's choice; the
    // folder is renamed exactly when it can be, and registered under the name it has.
    Write(parent / L"probe\\held.txt", "held");
    held = CreateFileW((parent / L"probe\\held.txt").c_str(), GENERIC_READ, FILE_SHARE_READ,
                       nullptr, OPEN_EXISTING, 0, nullptr);
    EXPECT_EQ(renamed != L"Agent",
              _wrename((parent / L"probe").c_str(), (parent / L"probe2").c_str()) == 0);
    CloseHandle(held);
    EXPECT_TRUE(std::regex_match(Narrow(renamed), std::regex(R"(Agent(\.[a-z]{6}\.delete)?)")));
    // Content before folder, depth first.
    const std::wstring base = L"\\??\\" + (parent / renamed);
    EXPECT_EQ(test_support::PendingRenameSources(),
              (std::vector<std::wstring>{base + L"\\logs\\agent.log", base + L"\\logs", base}));
}

// A data tree planted before the installation. Who made an entry is decided through the
// seam: every entry on this system has its one user as owner.
TEST(DataTree, WhatNoAdministratorMadeGoes) {
    TempFolder root;
    const std::wstring data = root / L"Company\\Business Agent";
    Write(data + L"\\setup\\agentconfig.conf", "planted");
    Write(data + L"\\temp\\old\\x.tmp", "left");
    Write(data + L"\\database\\agent.db", "ours");
    Write(data + L"\\planted.dll", "planted");
    Write(data + L"\\dump\\crash.dmp", "planted");
    const auto ours = [](HANDLE, const std::wstring& path) {
        return path.find(L"planted") == std::wstring::npos && !path.ends_with(L"\\dump");
    };
    CLogging log(kInstallerLogFile, kInstallerComponent);
    ASSERT_EQ(data_tree::SecureDataTree(data, log, ours), kStatusOk);
    EXPECT_EQ(ReadFileBytes(data + L"\\database\\agent.db"), "ours");
    for (const wchar_t* gone : {L"\\setup\\agentconfig.conf", L"\\temp\\old", L"\\planted.dll",
                                L"\\dump\\crash.dmp"}) {
        EXPECT_FALSE(test_support::FileExists(data + gone)) << Narrow(gone);
    }
    EXPECT_TRUE(std::filesystem::is_directory(data + L"\\dump")) << "made anew";
    EXPECT_TRUE(std::filesystem::is_directory(data + L"\\log"));

    // A company folder someone else made, holding more than the agent's folder, stays theirs:
    // the installation stops before it changes anything.
    Write(root / L"Company\\other.txt", "theirs");
    const auto notOurs = [](HANDLE, const std::wstring& at) { return !at.ends_with(L"\\Company"); };
    EXPECT_EQ(data_tree::SecureDataTree(data, log, notOurs), kStatusFolderNotSecured);
    EXPECT_EQ(ReadFileBytes(data + L"\\database\\agent.db"), "ours");
}

// The stand-in installer runs for real: downloaded from the backend through the testbed
// runtime and started through its process manager.
class NetFrameworkInstaller : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_FALSE(port_.empty()) << "the backend does not run";
        agent_machine::CleanMachine();
        Clear();
        ASSERT_EQ(StartRuntime(loader_, test_support::BinFolder(), SetupSettings(), host_.Get(),
                               session_),
                  kStatusOk);
    }
    void TearDown() override {
        Clear();
        agent_machine::CleanMachine();
    }

    // Detection reads either registry view.
    static void Clear() {
        for (REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
            RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kKey, view, 0);
        }
    }
    static void SetRelease(DWORD release, const wchar_t* key = kKey) {
        RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, L"Release", REG_DWORD, &release, sizeof(release));
    }
    std::wstring Url(const std::wstring& path) const {
        return L"http://127.0.0.1:" + std::wstring(port_.begin(), port_.end()) + path;
    }

    Status RunStub(const std::wstring& behaviour,
                   const wchar_t* stub = L"net_installer_stub_signed.exe") {
        const std::wstring name = behaviour + L"-ndp48-x86-x64-allos-enu";
        const std::wstring files = agent_machine::BackendFolder() + L"\\files";
        std::filesystem::create_directories(files);
        test_support::CopyBuiltProgram(stub, files, name);
        const TempFolder run;
        TestInstaller installer({.netInstallerUrl = Url(L"/files/" + name),
                                 .netInstallerPublisher = L"Hollin Test Publisher"});
        installer.UseRuntime(session_.runtime.Get());
        installer.UsePackage(run.Path());  // which it removes when it goes
        return installer.InstallMissingNetFrameworkInstaller();
    }
    static std::wstring RecordedArguments() {
        const std::wstring file =
            std::filesystem::temp_directory_path() / L"net-installer-args.txt";
        const std::string bytes = ReadFileBytes(file);
        DeleteFileW(file.c_str());
        return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    }

    // How many invite requests the backend recorded for a case.
    int RecordedRequests(const std::wstring& testCase) {
        CObjectSmPtr<ICommunication> communication;
        session_.runtime->GetCommunication(communication.Receive());
        CObjectSmPtr<IRequest> request;
        communication->CreateRequest(Narrow(Url(L"/" + testCase + L"/requests")).c_str(),
                                     request.Receive());
        CObjectSmPtr<IPayload> response(new CPayload());
        std::uint32_t status = 0;
        communication->Send(request.Get(), kHttpGet, nullptr, response.Get(), &status);
        const std::string body(reinterpret_cast<const char*>(response->Data()), response->Size());
        const std::regex deleted("\"DELETE\"");
        return static_cast<int>(std::distance(
            std::sregex_iterator(body.begin(), body.end(), deleted), std::sregex_iterator()));
    }

    static constexpr wchar_t kKey[] = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    const std::string port_ = agent_machine::BackendPort();
    CLibraryLoader loader_;
    CObjectSmPtr<CRuntimeSettings> host_{new CRuntimeSettings()};
    RuntimeSession session_;
};

// Detected from the release in either registry view. A download runs only when its publisher
// signed it: an unsigned one or one signed by anybody else is deleted and never started. Then
// the registry decides, except for a restart.
TEST_F(NetFrameworkInstaller, DetectedInEitherViewAndRunOnlyWhenSigned) {
    TestInstaller installer;
    EXPECT_FALSE(installer.IsNetFrameworkInstalled());
    SetRelease(528039);
    EXPECT_FALSE(installer.IsNetFrameworkInstalled());
    SetRelease(528040);
    EXPECT_TRUE(installer.IsNetFrameworkInstalled());
    Clear();
    SetRelease(533320, L"SOFTWARE\\WOW6432Node\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full");
    EXPECT_TRUE(installer.IsNetFrameworkInstalled());
    Clear();

    RecordedArguments();  // none left from before
    EXPECT_EQ(RunStub(L"set-exit0", L"net_installer_stub.exe"), kStatusDownloadNotTrusted);
    EXPECT_EQ(RunStub(L"set-exit0", L"net_installer_stub_other.exe"), kStatusDownloadNotTrusted);
    EXPECT_EQ(RecordedArguments(), L"") << "a refused installer ran";

    const std::pair<const wchar_t*, Status> runs[] = {
        {L"set-exit0", kStatusOk}, {L"set-exit1603", kStatusOk},
        {L"exit1603", kStatusStillMissing}, {L"exit3010", kStatusPrerequisiteNeedsRestart}};
    for (const auto& [behaviour, status] : runs) {
        Clear();
        EXPECT_EQ(RunStub(behaviour), status) << Narrow(behaviour);
        const std::wstring arguments = RecordedArguments();
        EXPECT_TRUE(arguments.ends_with(L"/q /norestart")) << Narrow(arguments);
    }
    EXPECT_EQ(installer.InstallMissingNetFrameworkInstaller(), kStatusDownloadUnavailable)
        << "without a runtime";
}

// The invite loop, run by the installation in this process against the backend.
TEST_F(NetFrameworkInstaller, InviteIsAskedSixtyTimesUnlessItIsGone) {
    SetupSettings& settings = GetSetupSettings();
    settings.token = L"invite-loop-token-0123456789abcdef";
    // Answer, status, requests, pauses: a gone invite is not waited for.
    const std::tuple<std::wstring, Status, int, int> answers[] = {
        {L"error", kStatusHttpStatus, 60, 60}, {L"gone", kStatusInviteGone, 1, 0}};
    for (const auto& [answer, status, asked, paused] : answers) {
        const std::wstring testCase = L"InviteLoop" + answer;
        settings.serverUrl = Url(L"/" + testCase + L"/" + answer);
        CountedPauses pauses;
        EXPECT_EQ(TestInstaller().Install(nullptr), status) << Narrow(answer);
        EXPECT_EQ(pauses.count, paused);
        EXPECT_EQ(RecordedRequests(testCase), asked);
    }
    EXPECT_FALSE(test_support::FileExists(agent_machine::kCompanyProgramFolder));
}

// Real delete-at-restart entries, an unrelated one first, as a busy machine has them.
TEST_F(NetFrameworkInstaller, AgentFilesDueForDeletionAtRestartStopTheInstallation) {
    TempFolder unrelated;
    for (const std::wstring& file :
         {unrelated / L"other.tmp", agent_machine::kDataFolder + L"\\logs\\old.log"}) {
        Write(file, "x");
        ASSERT_TRUE(MoveFileExW(file.c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT));
    }

    SetupSettings& settings = GetSetupSettings();
    settings.token = L"pending-removal-token-0123456789abcdef";
    settings.serverUrl = Url(L"/PendingRemoval/accept");
    EXPECT_EQ(TestInstaller().Install(nullptr), kStatusRestartBeforeInstall);
    EXPECT_EQ(RecordedRequests(L"PendingRemoval"), 0);
    EXPECT_FALSE(test_support::FileExists(agent_machine::kCompanyProgramFolder));
    EXPECT_EQ(service_sys::GetImagePath(L"ClientManager"), L"");
}

// The scheduler's own service is stood in for by the test service.
class SchedulerProbe : public ::testing::Test {
protected:
    void SetUp() override {
        service_sys::DeleteServiceByName(kService);
        ASSERT_EQ(service_sys::CreateOrUpdateService(
                      kService, test_support::BinFolder() + L"\\test_service.exe",
                      service_sys::kOwnProcess, service_sys::kDemandStart),
                  kStatusOk);
        ASSERT_EQ(service_sys::StartServiceByName(kService), kStatusOk);
        ASSERT_TRUE(agent_machine::WaitForAgentState(SERVICE_RUNNING, kService));
    }
    void TearDown() override {
        service_sys::StopService(kService);
        agent_machine::WaitForAgentState(SERVICE_STOPPED, kService);
        service_sys::DeleteServiceByName(kService);
    }
    static constexpr wchar_t kService[] = L"HollinSetupTestScheduler";
};

TEST_F(SchedulerProbe, OnlyAHungProbeRestartsTheService) {
    TempFolder tools;
    test_support::CopyBuiltProgram(L"test_child.exe", tools.Path(), L"schtasks.exe");
    const std::wstring probe = tools / L"schtasks.exe";
    // A real schtasks lists every task of the machine: tens of kilobytes that nobody reads.
    const std::wstring longListing = L"repeat 4096 " + std::wstring(64, L't');
    // Program, arguments, time limit, status, whether the service is restarted.
    const std::tuple<std::wstring, std::wstring, DWORD, Status, bool> probes[] = {
        {probe, L"exit 3", 2000, kStatusOk, false},  // in time, whatever its exit code
        {probe, longListing, 30000, kStatusOk, false},
        {L"C:\\no\\such\\schtasks.exe", L"", 2000, kStatusProbeNotStarted, false},
        {probe, L"sleep 10000", 2000, kStatusOk, true}};
    for (const auto& [program, arguments, limitMs, status, restarted] : probes) {
        SCOPED_TRACE(Narrow(program + L" " + arguments.substr(0, 20)));
        const std::set<DWORD> pids = process_sys::GetPidsByName(L"test_service.exe");
        CountedPauses pauses;
        TestInstaller installer(
            {.schedulerProbe = process_sys::BuildCommandLine(program, arguments.c_str()),
             .schedulerService = kService,
             .schedulerProbeLimitMs = limitMs});
        EXPECT_EQ(installer.RestartTaskSchedulerServiceIfNeeded(), status);
        EXPECT_TRUE(agent_machine::WaitForAgentState(SERVICE_RUNNING, kService));
        // A restarted service runs in a new process.
        EXPECT_EQ(process_sys::GetPidsByName(L"test_service.exe") != pids, restarted);
        EXPECT_EQ(pauses.count > 0, restarted);
    }
}

// systeminfo stands in for any tool that never ends.
TEST(SystemInfo, AToolThatNeverEndsDoesNotHoldUpTheInstallation) {
    TestInstaller installer({.systemInfoTool = process_sys::BuildCommandLine(
                                 test_support::BinFolder() + L"\\test_child.exe",
                                 L"out facts sleep 120000"),
                             .systemInfoLimitMs = 2000});
    const auto start = std::chrono::steady_clock::now();
    installer.LogSystemInfo();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    // The installation does not end it; the test does.
    for (DWORD pid : process_sys::GetPidsByName(L"test_child.exe"))
        TerminateProcess(UniqueKernelHandle(OpenProcess(PROCESS_TERMINATE, FALSE, pid)).Get(), 1);
}

}  // namespace
