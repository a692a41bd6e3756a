#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "tests/support/sealing.h"

namespace test_support {

// The folder of the running test program, where the build puts every program it makes.
std::wstring BinFolder();

// A new empty folder below the temporary folder, removed with its content on destruction.
class TempFolder {
public:
    TempFolder();
    ~TempFolder();
    TempFolder(const TempFolder&) = delete;
    TempFolder& operator=(const TempFolder&) = delete;

    const std::wstring& Path() const { return path_; }
    std::wstring operator/(const std::wstring& name) const { return path_ + L"\\" + name; }

private:
    std::wstring path_;
};

// Copies a program made by the build into folder, under another name if given.
void CopyBuiltProgram(const std::wstring& builtName, const std::wstring& folder,
                      const std::wstring& newName = L"");

// Starts a command line, waits up to the limit and gives the exit code. A program that
// does not start or does not end in time fails the current test and gives 0xDEADBEEF.
DWORD RunAndWait(const std::wstring& commandLine, DWORD timeoutMs = 60000);

std::string ReadFileBytes(const std::wstring& path);
bool FileExists(const std::wstring& path);
std::string Narrow(const std::wstring& text);

// A package manifest of the agent's files in folder, for installations run in-process.
std::string ManifestOf(const std::wstring& folder);

// The sources of the machine's delete-at-restart entries, in their order.
std::vector<std::wstring> PendingRenameSources();

// Wine lists no logged-on session. While this lives, the system folder's wtsapi32.dll, which
// setup.exe is made to prefer, is session_active\wtsapi32.dll: the caller's session is active.
class ActiveSessionLibrary {
public:
    ActiveSessionLibrary();
    ~ActiveSessionLibrary();
    ActiveSessionLibrary(const ActiveSessionLibrary&) = delete;
    ActiveSessionLibrary& operator=(const ActiveSessionLibrary&) = delete;

private:
    std::wstring installed_, original_;
};

// Libraries and tools named like the system's that setup.exe uses, planted in a folder, each
// leaving a marker when loaded or started. While this lives, setup.exe takes the first file
// of a name it finds, as Windows does: only the search order keeps them out.
class PlantedLookalikes {
public:
    explicit PlantedLookalikes(const std::wstring& folder);
    ~PlantedLookalikes();
    PlantedLookalikes(const PlantedLookalikes&) = delete;
    PlantedLookalikes& operator=(const PlantedLookalikes&) = delete;

    // The planted files that were loaded or started, with what they recorded.
    std::vector<std::string> Used() const;

private:
    std::wstring folder_;
};

}  // namespace test_support
