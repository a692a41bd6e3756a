#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <map>
#include <string>

// The machine as the installation tests see it: the testbed backend, the package folder
// and the agent's traces on the machine (default brand).
namespace agent_machine {

inline const std::wstring kCompanyProgramFolder = L"C:\\Program Files\\ZELKO Software";
inline const std::wstring kProgramFolder = kCompanyProgramFolder + L"\\Business Agent";
inline const std::wstring kDataFolder = L"C:\\ProgramData\\ZELKO Software\\Business Agent";
inline const std::wstring kAgentKey = L"SOFTWARE\\ZELKO Software\\Business Agent";
inline const std::wstring kUninstallKey =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Zelko Business";
inline const std::wstring kSessionManager =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager";

// The testbed backend's folder (port file, files to serve) and its port; empty when it
// does not run.
std::wstring BackendFolder();
std::string BackendPort();

// setup.exe of the package folder the build assembles.
std::wstring PackageSetup();
// A package folder of its own with the given setup program in place of setup.exe.
void CopyPackageWith(const std::wstring& folder, const std::wstring& builtSetup,
                     bool withAgent = true);

// A package folder whose setup is fault_install.exe, for a run against an installed agent
// that misbehaves as the file marker beside its executable tells it (tests/testbed/README.md),
// with the run's polling pauses counted instead of waited for.
class MisbehavingAgentRun {
public:
    MisbehavingAgentRun(const wchar_t* marker, const std::string& content);
    ~MisbehavingAgentRun();
    MisbehavingAgentRun(const MisbehavingAgentRun&) = delete;
    MisbehavingAgentRun& operator=(const MisbehavingAgentRun&) = delete;

    std::wstring Setup() const;
    int Pauses() const;

private:
    std::wstring package_;
    std::wstring marker_;
};

// The machine has .NET Framework 4.8, as most machines do.
void SetNetFrameworkInstalled();

// Whether the agent's service, or the one named, reaches the state within ten seconds.
bool WaitForAgentState(DWORD state, const wchar_t* service = L"ClientManager");

// What an installation or removal touches, as an administrator would compare it: the names in
// Program Files and ProgramData, the agent's files with size and hash (not the log folder: it
// grows with every run and explains a failure), its registry values, pending renames, service.
using MachineState = std::map<std::wstring, std::wstring>;
MachineState TakeMachineState();

// The run record a run wrote with "-result", with its outcome, status and failed step as
// "outcome status failedStep" ("-" for none); empty when there is none. Fails the test when
// the record holds the secret given.
std::string RecordSummary(const std::wstring& path, const std::string& secret = "");

// Removes every trace of an installed agent.
void CleanMachine();

// Real runs against the testbed backend on a machine with .NET Framework and no agent,
// cleaned again afterwards.
class MachineTest : public ::testing::Test {
protected:
    void SetUp() override {
        port_ = BackendPort();
        ASSERT_FALSE(port_.empty()) << "the backend does not run";
        SetNetFrameworkInstalled();
        CleanMachine();
    }
    void TearDown() override { CleanMachine(); }

    std::string port_;
};

}  // namespace agent_machine
