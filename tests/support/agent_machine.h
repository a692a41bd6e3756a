#pragma once

#include <windows.h>

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

// The machine has .NET Framework 4.8, as most machines do.
void SetNetFrameworkInstalled();

bool WaitForAgentState(DWORD state);

// Removes every trace of an installed agent.
void CleanMachine();

}  // namespace agent_machine
