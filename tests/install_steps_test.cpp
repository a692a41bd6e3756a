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
    std::ofstream(std::filesystem::path(path), std::ios::binary) << content;
}

// The log comes first, so that it outlives the installer that detaches it.
struct InstallerLogHolder {
    CLogging log{kInstallerLogFile, kInstallerComponent};
};

// An installer with this run's settings and a log of its own, which writes nothing until a
// runtime is attached.
class TestInstaller : private InstallerLogHolder, public AgentInstaller {
public:
    explicit TestInstaller(InstallerEnvironment environment = {})
        : AgentInstaller(GetSetupSettings(), GetBranding(), log, WithManifest(environment)) {}

private:
    // Installs from the folder this test program was built in.
    static InstallerEnvironment WithManifest(InstallerEnvironment environment) {
        environment.packageManifest = test_support::ManifestOf(test_support::BinFolder());
        return environment;
    }
};

// Counts the pauses of polling loops instead of waiting them out.
class CountedPauses {
public:
    CountedPauses() { process_sys::SetSleepHook([this](std::chrono::milliseconds) { ++count; }); }
    ~CountedPauses() { process_sys::SetSleepHook(nullptr); }
    int count = 0;
};

TEST(FileDeployment, CopiesTreesWithoutExcludedNames) {
    TempFolder source;
    TempFolder target;
    std::filesystem::create_directories(source / L"sub\\empty");
    Write(source / L"a.dll", "a");
    Write(source / L"events.db", "skip");
    Write(source / L"sub\\events.db", "skip");
    Write(source / L"sub\\b.dll", "b");
    TestInstaller installer;
    ASSERT_EQ(installer.CopyAllFiles(source.Path(), target / L"deep\\agent", {L"events.db"}),
              kStatusOk);
    EXPECT_EQ(ReadFileBytes(target / L"deep\\agent\\a.dll"), "a");
    EXPECT_EQ(ReadFileBytes(target / L"deep\\agent\\sub\\b.dll"), "b");
    EXPECT_FALSE(test_support::FileExists(target / L"deep\\agent\\events.db"));
    EXPECT_FALSE(test_support::FileExists(target / L"deep\\agent\\sub\\events.db"));
    EXPECT_TRUE(std::filesystem::is_directory(target / L"deep\\agent\\sub\\empty"));
}

// Copies new.dll over agent.dll held open with the given sharing; six paused tries come first.
Status CopyOverHeld(const TempFolder& folder, DWORD sharing) {
    Write(folder / L"new.dll", "new");
    Write(folder / L"agent.dll", "old");
    HANDLE held = CreateFileW((folder / L"agent.dll").c_str(), GENERIC_READ, sharing, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    EXPECT_NE(held, INVALID_HANDLE_VALUE);
    CountedPauses pauses;
    TestInstaller installer;
    const Status status = installer.CopyFilePath(folder / L"new.dll", folder / L"agent.dll");
    CloseHandle(held);
    EXPECT_EQ(pauses.count, 6);
    return status;
}

TEST(FileDeployment, AHeldDestinationIsMovedAsideOrTheCopyFails) {
    TempFolder folder;
    // Without read or write sharing, but renamable.
    EXPECT_EQ(CopyOverHeld(folder, FILE_SHARE_DELETE), kStatusOk);
    EXPECT_EQ(ReadFileBytes(folder / L"agent.dll"), "new");
    std::vector<std::wstring> aside;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
        const std::wstring name = entry.path().filename().wstring();
        if (name != L"new.dll" && name != L"agent.dll") {
            aside.push_back(name);
        }
    }
    ASSERT_EQ(aside.size(), 1u);
    EXPECT_TRUE(
        std::regex_match(Narrow(aside[0]), std::regex(R"(agent\.dll\.[a-z]{6}\.delete)")));
    EXPECT_EQ(ReadFileBytes(folder / aside[0]), "old");

    TempFolder unrenamable;
    EXPECT_EQ(CopyOverHeld(unrenamable, 0), kStatusRenameFailed);
}

bool FolderWithOpenFileCanBeRenamed(const std::wstring& folder) {
    std::filesystem::create_directories(folder);
    Write(folder + L"\\held.txt", "held");
    HANDLE held = CreateFileW((folder + L"\\held.txt").c_str(), GENERIC_READ, FILE_SHARE_READ,
                              nullptr, OPEN_EXISTING, 0, nullptr);
    const bool renamed = _wrename(folder.c_str(), (folder + L"2").c_str()) == 0;
    CloseHandle(held);
    std::error_code ignored;
    std::filesystem::remove_all(renamed ? folder + L"2" : folder, ignored);
    return renamed;
}

TEST(DeferredDeletion, DeletesOrRenamesAndRegisters) {
    // What the entry's own handle reports decides; Wine makes no links to show it with.
    EXPECT_EQ(tree_sys::KindOf(FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT),
              tree_sys::EntryKind::kLink) << "a junction is deleted as itself, never entered";
    EXPECT_EQ(tree_sys::KindOf(FILE_ATTRIBUTE_REPARSE_POINT), tree_sys::EntryKind::kLink);
    TempFolder parent;
    EXPECT_EQ(DeleteOrDeferFolder(parent / L"missing"), kStatusOk);

    std::filesystem::create_directories(parent / L"Agent\\logs");
    Write(parent / L"Agent\\logs\\agent.log", "held");
    HANDLE held = CreateFileW((parent / L"Agent\\logs\\agent.log").c_str(), GENERIC_READ,
                              FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                       L"PendingFileRenameOperations");
    EXPECT_EQ(DeleteOrDeferFolder(parent / L"Agent"), kStatusRemovalAtRestart);
    CloseHandle(held);

    std::wstring renamed;
    for (const auto& entry : std::filesystem::directory_iterator(parent.Path())) {
        if (entry.path().filename() != L"probe") {
            renamed = entry.path().filename().wstring();
        }
    }
    // Whether a folder holding an open file can be renamed is the system's choice; the
    // folder is renamed exactly when it can be, and registered under the name it has.
    EXPECT_EQ(renamed != L"Agent", FolderWithOpenFileCanBeRenamed(parent / L"probe"));
    EXPECT_TRUE(std::regex_match(test_support::Narrow(renamed),
                                 std::regex(R"(Agent(\.[a-z]{6}\.delete)?)")));
    // Content before folder, depth first.
    const std::vector<std::wstring> sources = test_support::PendingRenameSources();
    const std::wstring base = L"\\??\\" + (parent / renamed);
    EXPECT_EQ(sources, (std::vector<std::wstring>{base + L"\\logs\\agent.log", base + L"\\logs",
                                                  base}));
}

// A data tree planted before the installation. Who made an entry is decided through the
// seam: every entry on this system has its one user as owner.
TEST(DataTree, WhatNoAdministratorMadeGoes) {
    TempFolder root;
    const std::wstring data = root / L"Company\\Business Agent";
    for (const wchar_t* folder : {L"\\setup", L"\\temp\\old", L"\\database", L"\\dump"}) {
        std::filesystem::create_directories(data + folder);
    }
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
    const auto companyNotOurs = [](HANDLE, const std::wstring& path) {
        return !path.ends_with(L"\\Company");
    };
    EXPECT_EQ(data_tree::SecureDataTree(data, log, companyNotOurs), kStatusFolderNotSecured);
    EXPECT_EQ(ReadFileBytes(data + L"\\database\\agent.db"), "ours");
}

// A link to an outside folder, in a tree that is copied and then deleted: the copy skips it,
// the deletion removes the link alone.
TEST(Links, AreNeverCopiedThroughNorDeletedThrough) {
    TempFolder outside;
    TempFolder tree;
    TempFolder copy;
    Write(outside / L"keep.txt", "keep");
    std::filesystem::create_directories(tree / L"agent\\sub");
    Write(tree / L"agent\\sub\\own.txt", "own");
    ASSERT_TRUE(CreateSymbolicLinkW((tree / L"agent\\sub\\link").c_str(), outside.Path().c_str(),
                                    SYMBOLIC_LINK_FLAG_DIRECTORY));
    if (GetFileAttributesW((tree / L"agent\\sub\\link").c_str()) == INVALID_FILE_ATTRIBUTES) {
        GTEST_SKIP() << "CreateSymbolicLinkW reported success and made no link on this system";
    }
    ASSERT_TRUE(file_sys::IsLink(tree / L"agent\\sub\\link"));

    TestInstaller installer;
    EXPECT_EQ(installer.CopyAllFiles(tree / L"agent", copy / L"agent", {}), kStatusOk);
    EXPECT_EQ(ReadFileBytes(copy / L"agent\\sub\\own.txt"), "own");
    EXPECT_FALSE(test_support::FileExists(copy / L"agent\\sub\\link"));

    EXPECT_EQ(DeleteOrDeferFolder(tree / L"agent"), kStatusOk);
    EXPECT_FALSE(test_support::FileExists(tree / L"agent"));
    EXPECT_EQ(ReadFileBytes(outside / L"keep.txt"), "keep");

    // The folder to delete may itself be the link.
    ASSERT_TRUE(CreateSymbolicLinkW((tree / L"direct").c_str(), outside.Path().c_str(),
                                    SYMBOLIC_LINK_FLAG_DIRECTORY));
    EXPECT_EQ(DeleteOrDeferFolder(tree / L"direct"), kStatusOk);
    EXPECT_FALSE(test_support::FileExists(tree / L"direct"));
    EXPECT_EQ(ReadFileBytes(outside / L"keep.txt"), "keep");
}

// The stand-in installer runs for real: downloaded from the backend through the testbed
// runtime and started through its process manager.
class NetFrameworkInstaller : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = agent_machine::BackendPort();
        ASSERT_FALSE(port_.empty()) << "the backend does not run";
        files_ = agent_machine::BackendFolder() + L"\\files";
        std::filesystem::create_directories(files_);
        ASSERT_EQ(StartRuntime(loader_, test_support::BinFolder(), SetupSettings(), host_.Get(), session_), kStatusOk);
        Clear();
    }
    void TearDown() override { Clear(); }

    // Detection reads either registry view.
    static void Clear() {
        for (REGSAM view : {KEY_WOW64_64KEY, KEY_WOW64_32KEY}) {
            RegDeleteKeyExW(HKEY_LOCAL_MACHINE, kKey, view, 0);
        }
    }
    static void SetRelease(DWORD release, REGSAM view) {
        HKEY key = nullptr;
        ASSERT_EQ(RegCreateKeyExW(HKEY_LOCAL_MACHINE, kKey, 0, nullptr, 0, KEY_SET_VALUE | view,
                                  nullptr, &key, nullptr),
                  ERROR_SUCCESS);
        RegSetValueExW(key, L"Release", 0, REG_DWORD, reinterpret_cast<BYTE*>(&release),
                       sizeof(release));
        RegCloseKey(key);
    }
    std::wstring Url(const std::wstring& path) const {
        return L"http://127.0.0.1:" + std::wstring(port_.begin(), port_.end()) + path;
    }

    // The stand-in as signed by the expected publisher, unless another copy is named.
    Status RunStub(const std::wstring& behaviour,
                   const wchar_t* stub = L"net_installer_stub_signed.exe") {
        const std::wstring name = behaviour + L"-ndp48-x86-x64-allos-enu";
        test_support::CopyBuiltProgram(stub, files_, name);
        InstallerEnvironment environment;
        environment.netInstallerUrl = Url(L"/files/" + name);
        environment.netInstallerPublisher = L"Hollin Test Publisher";
        TestInstaller installer(environment);
        installer.UseRuntime(session_.runtime.Get());
        // The installer removes its run's folder when it goes.
        const std::wstring runFolder = package_ / std::to_wstring(++runs_);
        std::filesystem::create_directories(runFolder);
        installer.UsePackage(runFolder);
        return installer.InstallMissingNetFrameworkInstaller();
    }
    static std::wstring RecordedArguments() {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        const std::wstring file = std::wstring(temp) + L"net-installer-args.txt";
        const std::string bytes = ReadFileBytes(file);
        DeleteFileW(file.c_str());
        return std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    }

    // How many invite requests the backend recorded for a case.
    int RecordedRequests(const std::string& testCase) {
        CObjectSmPtr<ICommunication> communication;
        session_.runtime->GetCommunication(communication.Receive());
        const std::string url = "http://127.0.0.1:" + port_ + "/" + testCase + "/requests";
        CObjectSmPtr<IRequest> request;
        communication->CreateRequest(url.c_str(), request.Receive());
        CObjectSmPtr<IPayload> response(new CPayload());
        std::uint32_t status = 0;
        communication->Send(request.Get(), kHttpGet, nullptr, response.Get(), &status);
        const std::string body(reinterpret_cast<const char*>(response->Data()), response->Size());
        int count = 0;
        for (size_t at = body.find("\"DELETE\""); at != std::string::npos;
             at = body.find("\"DELETE\"", at + 1)) {
            ++count;
        }
        return count;
    }

    static constexpr wchar_t kKey[] = L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full";
    std::string port_;
    std::wstring files_;
    TempFolder package_;
    int runs_ = 0;
    CLibraryLoader loader_;
    CObjectSmPtr<CRuntimeSettings> host_{new CRuntimeSettings()};
    RuntimeSession session_;
};

TEST_F(NetFrameworkInstaller, DetectedFromTheReleaseInEitherView) {
    TestInstaller installer;
    EXPECT_FALSE(installer.IsNetFrameworkInstalled());
    SetRelease(528039, KEY_WOW64_64KEY);
    EXPECT_FALSE(installer.IsNetFrameworkInstalled());
    SetRelease(528040, KEY_WOW64_64KEY);
    EXPECT_TRUE(installer.IsNetFrameworkInstalled());
    Clear();
    SetRelease(533320, KEY_WOW64_32KEY);
    EXPECT_TRUE(installer.IsNetFrameworkInstalled());
}

TEST_F(NetFrameworkInstaller, TheRegistryDecidesExceptForARestart) {
    EXPECT_EQ(RunStub(L"set-exit0"), kStatusOk);
    const std::wstring arguments = RecordedArguments();
    EXPECT_TRUE(arguments.ends_with(L"/q /norestart")) << Narrow(arguments);

    Clear();
    EXPECT_EQ(RunStub(L"set-exit1603"), kStatusOk);
    Clear();
    EXPECT_EQ(RunStub(L"exit1603"), kStatusStillMissing);
    EXPECT_EQ(RunStub(L"exit3010"), kStatusPrerequisiteNeedsRestart);

    TestInstaller withoutRuntime;
    EXPECT_EQ(withoutRuntime.InstallMissingNetFrameworkInstaller(), kStatusDownloadUnavailable);
}

// A download runs only when its publisher signed it: an unsigned one or one signed by
// anybody else is deleted and never started.
TEST_F(NetFrameworkInstaller, OnlyTheExpectedPublishersSignatureRuns) {
    RecordedArguments();  // none left from before
    EXPECT_EQ(RunStub(L"set-exit0", L"net_installer_stub.exe"), kStatusDownloadNotTrusted);
    EXPECT_EQ(RunStub(L"set-exit0", L"net_installer_stub_other.exe"), kStatusDownloadNotTrusted);
    EXPECT_EQ(RecordedArguments(), L"") << "a refused installer ran";
}

// The invite loop, run by the installation in this process against the backend.
TEST_F(NetFrameworkInstaller, InviteIsAskedSixtyTimesUnlessItIsGone) {
    SetupSettings& settings = GetSetupSettings();
    settings.token = L"invite-loop-token-0123456789abcdef";
    {
        settings.serverUrl = Url(L"/InviteLoopError/error");
        CountedPauses pauses;
        TestInstaller installer;
        EXPECT_EQ(installer.Install(nullptr), kStatusHttpStatus);
        EXPECT_EQ(pauses.count, 60);
        EXPECT_EQ(RecordedRequests("InviteLoopError"), 60);
    }
    {
        settings.serverUrl = Url(L"/InviteLoopGone/gone");
        CountedPauses pauses;
        TestInstaller installer;
        EXPECT_EQ(installer.Install(nullptr), kStatusInviteGone);
        EXPECT_EQ(RecordedRequests("InviteLoopGone"), 1);
    }
    EXPECT_FALSE(test_support::FileExists(agent_machine::kCompanyProgramFolder));
    std::error_code ignored;
    std::filesystem::remove_all(L"C:\\ProgramData\\ZELKO Software", ignored);
}

// Real delete-at-restart entries, an unrelated one first, as a busy machine has them.
TEST_F(NetFrameworkInstaller, AgentFilesDueForDeletionAtRestartStopTheInstallation) {
    using agent_machine::kSessionManager;
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(), L"PendingFileRenameOperations");
    TempFolder unrelated;
    Write(unrelated / L"other.tmp", "x");
    std::filesystem::create_directories(agent_machine::kDataFolder + L"\\logs");
    Write(agent_machine::kDataFolder + L"\\logs\\old.log", "x");
    ASSERT_TRUE(MoveFileExW((unrelated / L"other.tmp").c_str(), nullptr,
                            MOVEFILE_DELAY_UNTIL_REBOOT));
    ASSERT_TRUE(MoveFileExW((agent_machine::kDataFolder + L"\\logs\\old.log").c_str(), nullptr,
                            MOVEFILE_DELAY_UNTIL_REBOOT));

    SetupSettings& settings = GetSetupSettings();
    settings.token = L"pending-removal-token-0123456789abcdef";
    settings.serverUrl = Url(L"/PendingRemoval/accept");
    {
        TestInstaller installer;
        EXPECT_EQ(installer.Install(nullptr), kStatusRestartBeforeInstall);
    }
    EXPECT_EQ(RecordedRequests("PendingRemoval"), 0);
    EXPECT_FALSE(test_support::FileExists(agent_machine::kCompanyProgramFolder));
    EXPECT_EQ(service_sys::GetImagePath(L"ClientManager"), L"");

    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(), L"PendingFileRenameOperations");
    std::error_code ignored;
    std::filesystem::remove_all(L"C:\\ProgramData\\ZELKO Software", ignored);
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
        ASSERT_TRUE(WaitFor(SERVICE_RUNNING));
    }
    void TearDown() override {
        service_sys::StopService(kService);
        WaitFor(SERVICE_STOPPED);
        service_sys::DeleteServiceByName(kService);
    }
    static bool WaitFor(DWORD state) {
        for (int pass = 0; pass < 100; ++pass) {
            if (service_sys::GetServiceState(kService) == state) {
                return true;
            }
            Sleep(100);
        }
        return false;
    }
    // A restarted service runs in a new process.
    static std::set<DWORD> ServicePids() { return process_sys::GetPidsByName(L"test_service.exe"); }
    InstallerEnvironment Probe(const std::wstring& arguments,
                               const std::wstring& program = test_support::BinFolder() +
                                                             L"\\test_child.exe") {
        InstallerEnvironment environment;
        environment.schedulerService = kService;
        environment.schedulerProbeLimitMs = 2000;
        environment.schedulerProbe = process_sys::BuildCommandLine(program, arguments.c_str());
        return environment;
    }
    static constexpr wchar_t kService[] = L"HollinSetupTestScheduler";
};

TEST_F(SchedulerProbe, AHungProbeRestartsTheService) {
    const std::set<DWORD> pids = ServicePids();
    {
        TestInstaller installer(Probe(L"exit 3"));  // in time, whatever its exit code
        EXPECT_EQ(installer.RestartTaskSchedulerServiceIfNeeded(), kStatusOk);
        EXPECT_EQ(ServicePids(), pids);
    }
    CountedPauses pauses;
    TestInstaller installer(Probe(L"sleep 10000"));
    EXPECT_EQ(installer.RestartTaskSchedulerServiceIfNeeded(), kStatusOk);
    EXPECT_TRUE(WaitFor(SERVICE_RUNNING));
    EXPECT_NE(ServicePids(), pids);

    TestInstaller noProbe(Probe(L"", L"C:\\no\\such\\schtasks.exe"));
    EXPECT_EQ(noProbe.RestartTaskSchedulerServiceIfNeeded(), kStatusProbeNotStarted);
}

// A real schtasks lists every task of the machine: tens of kilobytes that nobody reads.
TEST_F(SchedulerProbe, ALongListingIsNotMistakenForAHungService) {
    const std::set<DWORD> pids = ServicePids();
    TempFolder tools;
    test_support::CopyBuiltProgram(L"test_child.exe", tools.Path(), L"schtasks.exe");
    InstallerEnvironment environment =
        Probe(L"repeat 4096 " + std::wstring(64, L't'), tools / L"schtasks.exe");
    environment.schedulerProbeLimitMs = 30000;
    CountedPauses pauses;
    TestInstaller installer(environment);
    EXPECT_EQ(installer.RestartTaskSchedulerServiceIfNeeded(), kStatusOk);
    EXPECT_EQ(pauses.count, 0);
    EXPECT_EQ(ServicePids(), pids);
}

// systeminfo stands in for any tool that never ends.
TEST(SystemInfo, AToolThatNeverEndsDoesNotHoldUpTheInstallation) {
    InstallerEnvironment environment;
    environment.systemInfoTool = process_sys::BuildCommandLine(
        test_support::BinFolder() + L"\\test_child.exe", L"out facts sleep 120000");
    environment.systemInfoLimitMs = 2000;
    TestInstaller installer(environment);
    const auto start = std::chrono::steady_clock::now();
    installer.LogSystemInfo();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    // The installation does not end it; the test does.
    for (DWORD pid : process_sys::GetPidsByName(L"test_child.exe")) {
        HANDLE child = OpenProcess(PROCESS_TERMINATE, FALSE, pid);
        TerminateProcess(child, 1);
        CloseHandle(child);
    }
}

}  // namespace
