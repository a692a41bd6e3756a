#include "tests/support/test_support.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <filesystem>

#include "setup/install/package_manifest.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/text_sys.h"

namespace test_support {

std::wstring BinFolder() {
    return process_sys::FolderOf(process_sys::GetModulePath());
}

TempFolder::TempFolder() {
    static std::atomic<unsigned> counter{0};
    wchar_t temp[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, temp);
    path_ = std::wstring(temp) + L"hollin-test-" + std::to_wstring(GetCurrentProcessId()) + L"-" +
            std::to_wstring(GetTickCount64()) + L"-" + std::to_wstring(counter++);
    std::filesystem::create_directories(path_);
}

TempFolder::~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

void CopyBuiltProgram(const std::wstring& builtName, const std::wstring& folder,
                      const std::wstring& newName) {
    const std::wstring target = folder + L"\\" + (newName.empty() ? builtName : newName);
    ASSERT_TRUE(CopyFileW((BinFolder() + L"\\" + builtName).c_str(), target.c_str(), FALSE))
        << Narrow(builtName) << " error " << GetLastError();
}

DWORD RunAndWait(const std::wstring& commandLine, DWORD timeoutMs) {
    STARTUPINFOW startup{sizeof(startup)};
    PROCESS_INFORMATION info{};
    // A busy Wine now and then fails a start with ERROR_INTERNAL_ERROR; nothing ran, so retry.
    DWORD error = ERROR_INTERNAL_ERROR;
    for (int attempt = 0; attempt < 5 && error == ERROR_INTERNAL_ERROR; ++attempt) {
        Sleep(attempt > 0 ? 500 : 0);
        std::wstring mutableLine = commandLine;
        error = CreateProcessW(nullptr, mutableLine.data(), nullptr, nullptr, FALSE, 0, nullptr,
                               nullptr, &startup, &info)
                    ? ERROR_SUCCESS
                    : GetLastError();
    }
    if (error != ERROR_SUCCESS) {
        ADD_FAILURE() << "cannot start " << Narrow(commandLine) << ": error " << error;
        return 0xDEADBEEF;
    }
    DWORD exitCode = 0xDEADBEEF;
    if (WaitForSingleObject(info.hProcess, timeoutMs) == WAIT_OBJECT_0) {
        GetExitCodeProcess(info.hProcess, &exitCode);
    } else {
        ADD_FAILURE() << Narrow(commandLine) << " did not end within " << timeoutMs << " ms";
        TerminateProcess(info.hProcess, 0xDEADBEEF);
    }
    CloseHandle(info.hThread);
    CloseHandle(info.hProcess);
    return exitCode;
}

std::string ReadFileBytes(const std::wstring& path) {
    std::string bytes;
    file_sys::ReadWholeFile(path, bytes);
    return bytes;
}

bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

std::string ManifestOf(const std::wstring& folder) {
    std::vector<package_manifest::Entry> entries;
    for (const wchar_t* name : {L"agentsvc.exe", L"runtime.dll", L"sqlite3.dll"}) {
        const std::string bytes = ReadFileBytes(folder + L"\\" + name);
        entries.push_back({Narrow(name), bytes.size(), package_manifest::Sha256Hex(bytes)});
    }
    return package_manifest::Format(entries);
}

std::vector<std::wstring> PendingRenameSources() {
    std::vector<wchar_t> buffer(65536);
    DWORD size = static_cast<DWORD>(buffer.size() * sizeof(wchar_t));
    std::vector<std::wstring> sources;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SYSTEM\\CurrentControlSet\\Control\\Session Manager",
                     L"PendingFileRenameOperations", RRF_RT_REG_MULTI_SZ, nullptr, buffer.data(),
                     &size) != ERROR_SUCCESS) {
        return sources;
    }
    const wchar_t* end = buffer.data() + size / sizeof(wchar_t);
    for (const wchar_t* p = buffer.data(); p < end && *p != L'\0'; p += wcslen(p) + 1) {
        sources.emplace_back(p);
        p += wcslen(p) + 1;  // its target, empty for a deletion
    }
    return sources;
}

std::string Narrow(const std::wstring& text) {
    std::string narrow;
    text_sys::WideToUtf8(text, narrow);  // a lone surrogate shows as U+FFFD
    return narrow;
}

namespace {

constexpr wchar_t kSetupOverrides[] = L"Software\\Wine\\AppDefaults\\setup.exe\\DllOverrides";

// The system libraries setup.exe uses that are not KnownDLLs.
constexpr const wchar_t* kLookalikeLibraries[] = {L"version", L"wtsapi32", L"uxtheme",
                                                  L"gdiplus", L"comctl32"};

}  // namespace

ActiveSessionLibrary::ActiveSessionLibrary() {
    wchar_t system[MAX_PATH] = {};
    GetSystemDirectoryW(system, MAX_PATH);
    installed_ = std::wstring(system) + L"\\wtsapi32.dll";
    original_ = installed_ + L".hollin-original";
    // A run that ended without cleaning up left the original aside already.
    if (!FileExists(original_)) {
        EXPECT_TRUE(MoveFileExW(installed_.c_str(), original_.c_str(), 0))
            << "error " << GetLastError();
    }
    CopyBuiltProgram(L"session_active\\wtsapi32.dll", system, L"wtsapi32.dll");
    EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kSetupOverrides, L"wtsapi32", REG_SZ,
                              L"native,builtin", sizeof(L"native,builtin")),
              ERROR_SUCCESS);
}

ActiveSessionLibrary::~ActiveSessionLibrary() {
    RegDeleteTreeW(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\setup.exe");
    EXPECT_TRUE(MoveFileExW(original_.c_str(), installed_.c_str(), MOVEFILE_REPLACE_EXISTING))
        << "error " << GetLastError();
}

PlantedLookalikes::PlantedLookalikes(const std::wstring& folder) : folder_(folder) {
    // Wine prefers its own copy of a system library; this makes setup.exe, and each child
    // started under that name, take the first file it finds, as Windows does.
    for (const wchar_t* library : kLookalikeLibraries) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, kSetupOverrides, library, REG_SZ,
                                  L"native,builtin", sizeof(L"native,builtin")),
                  ERROR_SUCCESS);
    }
    // Unless the system's own user32 loads a version.dll beside any windowed program before its
    // first line runs: then only setup.exe's own loads can be shown to avoid it. The repro runs
    // as setup.exe, for the same load-order settings.
    const TempFolder repro;
    CopyBuiltProgram(L"planted_library.dll", repro.Path(), L"version.dll");
    CopyBuiltProgram(L"windowed_program_repro.exe", repro.Path(), L"setup.exe");
    RunAndWait(L"\"" + repro / L"setup.exe" + L"\"");
    const bool plantVersion = !FileExists(repro / L"version.dll.loaded");
    if (!plantVersion) {
        std::printf("[  SKIPPED ] a version.dll lookalike: this system's user32 loads it beside "
                    "any windowed program (see windowed_program_repro)\n");
    }
    for (const wchar_t* library : kLookalikeLibraries) {
        if (plantVersion || std::wstring(library) != L"version") {
            CopyBuiltProgram(L"planted_library.dll", folder, std::wstring(library) + L".dll");
        }
    }
    // The tools it starts; the stand-in for setup2.exe records its start beside itself.
    for (const wchar_t* tool : {L"schtasks.exe", L"systeminfo.exe"}) {
        CopyBuiltProgram(L"fake_setup2.exe", folder, tool);
    }
}

PlantedLookalikes::~PlantedLookalikes() {
    for (const wchar_t* library : kLookalikeLibraries) {
        RegDeleteKeyValueW(HKEY_CURRENT_USER, kSetupOverrides, library);
    }
}

std::vector<std::string> PlantedLookalikes::Used() const {
    std::vector<std::string> used;
    for (const wchar_t* library : kLookalikeLibraries) {
        if (FileExists(folder_ + L"\\" + library + L".dll.loaded")) {
            used.push_back(Narrow(library) + ".dll");
        }
    }
    if (const std::string bytes = ReadFileBytes(folder_ + L"\\setup2-run.txt"); !bytes.empty()) {
        used.push_back("a tool, with \"" +
                       Narrow(std::wstring(reinterpret_cast<const wchar_t*>(bytes.data()),
                                           bytes.size() / sizeof(wchar_t))) +
                       "\"");
    }
    return used;
}

}  // namespace test_support
