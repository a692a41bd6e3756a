#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>

#include "setup/uninstall/uninstall.h"
#include "sys/process_sys.h"
#include "sys/service_sys.h"
#include "tests/support/agent_machine.h"
#include "tests/support/policy_db.h"
#include "tests/support/test_support.h"

namespace {

using test_support::FileExists;
using test_support::Narrow;
using test_support::ReadFileBytes;

using namespace agent_machine;

// Real removals, by setup.exe from the package folder unless another is given, quoted.
class Uninstallation : public MachineTest {
protected:

    DWORD Setup(const std::wstring& arguments,
                const std::wstring& setup = L"\"" + PackageSetup() + L"\"") {
        return test_support::RunAndWait(setup + L" " + arguments, 300000);
    }

    void InstallWithPolicy(bool requirePassword = false, const char* password = "") {
        const std::string url = "http://127.0.0.1:" + port_ + "/uninstall/accept";
        ASSERT_EQ(Setup(L"/i -sil 1 -tok uninstall-test-token-0123456789abcd -svr " +
                        std::wstring(url.begin(), url.end())),
                  0u);
        ASSERT_TRUE(WritePasswordPolicy(kDataFolder, requirePassword, password));
        ASSERT_TRUE(WaitForAgentState(SERVICE_RUNNING));
    }

    static std::wstring Base64(const std::string& text) {
        const std::string encoded = test_support::Base64(text);
        return std::wstring(encoded.begin(), encoded.end());
    }
};

TEST_F(Uninstallation, NothingInstalled) {
    CLogging log(kInstallerLogFile, kUninstallerComponent);
    EXPECT_EQ(UninstallAgent(GetSetupSettings(), GetBranding(), log, nullptr, L""),
              kStatusNothingInstalled);
}

TEST_F(Uninstallation, WrongPasswordLeavesTheAgentRunning) {
    const MachineState clean = TakeMachineState();
    InstallWithPolicy(true, "pa\"ss\\word");
    const test_support::TempFolder records;
    EXPECT_EQ(Setup(L"/u -sil 1 -password " + Base64("wrong") + L" -result " + records / L"r.json"),
              static_cast<DWORD>(kStatusPasswordRefused));
    EXPECT_EQ(RecordSummary(records / L"r.json", "wrong"), "refused 0x80000017 farewell");
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));
    EXPECT_TRUE(FileExists(kProgramFolder + L"\\agentsvc.exe"));
    // The log says why, in the line where the refusal was seen, and holds no password.
    const std::string log = ReadFileBytes(kDataFolder + L"\\log\\agentinstaller.log");
    EXPECT_NE(log.find("[ERROR] [Uninstaller] uninstall.cpp("), std::string::npos) << log;
    EXPECT_NE(log.find("UninstallAgent: the agent refused the password [0x80000017]"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("UninstallAgent: Starting agent service..."), std::string::npos);
    EXPECT_EQ(log.find("wrong"), std::string::npos);

    // A link in the data folder is removed as a link; what it points at stays.
    test_support::TempFolder outside;
    std::filesystem::create_directories(outside / L"kept");
    std::ofstream(std::filesystem::path(outside / L"kept\\file.txt")) << "kept";
    ASSERT_TRUE(CreateSymbolicLinkW((kDataFolder + L"\\link").c_str(),
                                    (outside / L"kept").c_str(), SYMBOLIC_LINK_FLAG_DIRECTORY));
    // Where the system reports a link it did not make, this part proves nothing.
    const bool linked = GetFileAttributesW((kDataFolder + L"\\link").c_str()) != INVALID_FILE_ATTRIBUTES;

    // The right one, holding a double quote and a backslash, reaches the agent escaped.
    EXPECT_EQ(Setup(L"/u -sil 1 -password " + Base64("pa\"ss\\word") + L" -log " +
                    records / L"copy.log" + L" -result " + records / L"r.json"),
              0u);
    EXPECT_EQ(RecordSummary(records / L"r.json", "pa\"ss"), "removed 0x00000000 -");
    // The copy goes on where the agent's own log went with its folder.
    const std::string copy = ReadFileBytes(records / L"copy.log");
    EXPECT_NE(copy.find("UninstallAgent: OK"), std::string::npos) << copy;
    EXPECT_EQ(copy.find("pa\"ss"), std::string::npos);
    EXPECT_EQ(ReadFileBytes(outside / L"kept\\file.txt"), "kept") << linked;
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    const std::string bytes = ReadFileBytes(std::wstring(temp) + L"farewell-commandline.txt");
    const std::wstring line(reinterpret_cast<const wchar_t*>(bytes.data()), bytes.size() / 2);
    EXPECT_NE(line.find(L"--nodaemon --farewell --password \"pa\\\"ss\\\\word\""),
              std::wstring::npos)
        << Narrow(line);
    MachineState removed = TakeMachineState();
    removed.erase(kCompanyProgramFolder);  // the maker's folder and key may stay
    removed.erase(L"SOFTWARE\\ZELKO Software");
    EXPECT_EQ(removed, clean);
    EXPECT_FALSE(FileExists(kDataFolder));
}

// A farewell run that never ends is ended after the removal's 300 passes; the removal
// fails and the agent keeps running. The next removal keeps the data folder when asked.
TEST_F(Uninstallation, AHangingFarewellRunIsEndedThenTheDataFolderKept) {
    InstallWithPolicy();
    {
        const MisbehavingAgentRun run(L"farewell-hangs", "");
        EXPECT_EQ(Setup(L"/u -sil 1", run.Setup()), static_cast<DWORD>(kStatusWaitFailed));
        EXPECT_GE(run.Pauses(), 300);
    }
    EXPECT_TRUE(WaitForAgentState(SERVICE_RUNNING));
    EXPECT_EQ(process_sys::GetPidsByName(L"agentsvc.exe").size(), 1u) << "the farewell run ended";

    const DWORD keep = 1;
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kAgentKey.c_str(), L"KeepDataDir", REG_DWORD, &keep,
                    sizeof(keep));
    EXPECT_EQ(Setup(L"/u -sil 1"), 0u);  // no password asked, none given
    EXPECT_TRUE(FileExists(kDataFolder + L"\\database\\agent.db"));
    EXPECT_FALSE(FileExists(kProgramFolder));
}

// A removal ended at once before each step: the next removal puts right what it left (the
// agent started again, or the removal taken to its end), as a removal never interrupted.
TEST_F(Uninstallation, KilledAtAnyPointTheNextRemovalPutsItRight) {
    InstallWithPolicy();
    ASSERT_EQ(Setup(L"/u -sil 1"), 0u);
    const MachineState removed = TakeMachineState();
    test_support::TempFolder package;
    CopyPackageWith(package.Path(), L"fault_install.exe");
    for (const char* point : {"recover", "attach-log", "locate-program-folder", "stop-agent",
                              "farewell", "delete-service", "remove-files", "remove-keys"}) {
        SCOPED_TRACE(point);
        InstallWithPolicy();
        SetEnvironmentVariableA("HOLLIN_FAULT_STEP", (std::string("kill-") + point).c_str());
        EXPECT_EQ(Setup(L"/u -sil 1", L"\"" + package / L"setup.exe" + L"\""), 0xDEADu);
        SetEnvironmentVariableW(L"HOLLIN_FAULT_STEP", nullptr);
        EXPECT_EQ(Setup(L"/u -sil 1"), 0u);
        EXPECT_EQ(TakeMachineState(), removed);
    }
}

TEST_F(Uninstallation, LockedProgramFolderIsRemovedAtRestart) {
    InstallWithPolicy();
    HANDLE held = CreateFileW((kProgramFolder + L"\\agent.lock").c_str(), GENERIC_WRITE,
                              FILE_SHARE_READ, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(held, INVALID_HANDLE_VALUE);
    const test_support::TempFolder records;
    EXPECT_EQ(Setup(L"/u -sil 1 -result " + records / L"r.json"),
              static_cast<DWORD>(kStatusRemovalAtRestart));
    CloseHandle(held);
    EXPECT_EQ(RecordSummary(records / L"r.json"), "removed-restart-required 0x80000052 -");

    // The folder goes after its content, under its own name where Windows refuses to rename a
    // folder holding an open file; Wine renames it to the deletion's own pattern.
    const std::vector<std::wstring> sources = test_support::PendingRenameSources();
    ASSERT_FALSE(sources.empty());
    const std::wstring folder = sources.back();
    const std::regex pattern(R"(\\\?\?\\C:\\Program Files\\ZELKO Software\\)"
                             R"(Business Agent(\.[a-z]{6}\.delete)?)");
    EXPECT_TRUE(std::regex_match(Narrow(folder), pattern)) << Narrow(folder);
    EXPECT_TRUE(FileExists(folder.substr(4) + L"\\agent.lock"));
    EXPECT_NE(std::find(sources.begin(), sources.end(), folder + L"\\agent.lock"), sources.end());
}

}  // namespace
