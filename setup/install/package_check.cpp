#include "setup/install/package_check.h"

#include <windows.h>

#include <algorithm>
#include <mutex>
#include <vector>

#include "resources/resource.h"
#include "setup/agent_folders.h"
#include "setup/install/package_manifest.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"
#include "sys/security_sys.h"
#include "sys/text_sys.h"
#include "sys/unique_handle.h"

namespace package_check {
namespace {

constexpr char kFunction[] = "AgentInstaller::VerifyPackage";

struct RunFiles {
    std::mutex lock;
    UniqueFileHandle ownProgram;
    std::vector<std::wstring> written;
};

RunFiles& TheRunFiles() {
    static RunFiles files;
    return files;
}

// Reads a whole file through a handle that lets nobody write it meanwhile.
bool ReadLocked(HANDLE file, std::string& bytes) {
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(file, &size) || size.QuadPart > 512ll << 20 ||
        !SetFilePointerEx(file, LARGE_INTEGER{}, nullptr, FILE_BEGIN)) {
        return false;
    }
    bytes.resize(static_cast<size_t>(size.QuadPart));
    size_t done = 0;
    while (done < bytes.size()) {
        DWORD read = 0;
        const DWORD wanted = static_cast<DWORD>(std::min<size_t>(bytes.size() - done, 1u << 20));
        if (!ReadFile(file, bytes.data() + done, wanted, &read, nullptr) || read == 0) {
            return false;
        }
        done += read;
    }
    return true;
}

UniqueFileHandle OpenShared(const std::wstring& path) {
    return UniqueFileHandle(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                        OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
}

Status Place(const std::wstring& folder, const std::wstring& relative, const std::string& bytes) {
    const std::wstring target = folder + L"\\" + relative;
    const Status made = file_sys::CreateFolderTree(file_sys::GetParentFolder(target));
    return Failed(made) ? made : file_sys::WriteWholeFile(target, bytes);
}

Status Refuse(CLogging& log, const std::wstring& message) {
    return log.Check(kStatusPackageNotVerified, kFunction, message);
}

Status CopyChecked(const package_manifest::Entry& entry, const std::wstring& folder,
                   CLogging& log) {
    std::wstring relative;
    text_sys::Utf8ToWide(entry.path, relative);
    std::string bytes;
    const UniqueFileHandle source = OpenShared(agent_folders::SetupFolder() + L"\\" + relative);
    if (!source || !ReadLocked(source.Get(), bytes)) {
        return Refuse(log, L"a file of the package is missing or unreadable: " + relative);
    }
    if (bytes.size() != entry.size || package_manifest::Sha256Hex(bytes) != entry.sha256) {
        return Refuse(log, L"a file of the package is not the one it was built with: " + relative);
    }
    return log.Check(Place(folder, relative, bytes), kFunction, L"could not stage " + relative);
}

// setup.exe itself, then the files the run wrote: neither can the manifest name.
Status CopyOwnFiles(const std::wstring& folder, std::vector<std::wstring>& staged,
                    CLogging& log) {
    RunFiles& files = TheRunFiles();
    std::lock_guard<std::mutex> guard(files.lock);
    if (!files.ownProgram) {
        files.ownProgram = OpenShared(process_sys::GetModulePath());
    }
    std::string bytes;
    if (!files.ownProgram || !ReadLocked(files.ownProgram.Get(), bytes) ||
        Failed(Place(folder, L"setup.exe", bytes))) {
        return Refuse(log, L"setup.exe itself could not be staged");
    }
    staged.push_back(L"setup.exe");
    const std::wstring start = agent_folders::SetupFolder() + L"\\";
    for (const std::wstring& path : files.written) {
        const UniqueFileHandle source = OpenShared(path);
        const std::wstring relative = path.substr(start.size());
        if (!source || !ReadLocked(source.Get(), bytes) || Failed(Place(folder, relative, bytes))) {
            return Refuse(log, L"a file this run wrote could not be staged: " + relative);
        }
        staged.push_back(relative);
    }
    return kStatusOk;
}

// A planted library beside setup.exe is never deployed: each such file says so.
void LogLeftOut(const std::vector<std::wstring>& staged, CLogging& log) {
    const std::wstring start = agent_folders::SetupFolder();
    for (const std::wstring& path : file_sys::ListFolder(start)) {
        const std::wstring name = path.substr(start.size() + 1);
        const bool inPackage = std::any_of(staged.begin(), staged.end(), [&](const auto& file) {
            return text_sys::EqualsIgnoringCase(file.substr(0, file.find(L'\\')), name);
        });
        if (!inPackage) {
            log.Warning(kFunction, L"not part of the package, not deployed: " + name);
        }
    }
}

}  // namespace

void HoldOwnProgram() {
    RunFiles& files = TheRunFiles();
    std::lock_guard<std::mutex> guard(files.lock);
    files.ownProgram = OpenShared(process_sys::GetModulePath());
}

void NoteWrittenByThisRun(const std::wstring& path) {
    RunFiles& files = TheRunFiles();
    std::lock_guard<std::mutex> guard(files.lock);
    files.written.push_back(path);
}

std::string CarriedManifest() {
    HMODULE module = GetModuleHandleW(nullptr);
    HRSRC found = FindResourceW(module, MAKEINTRESOURCEW(IDR_PACKAGE_MANIFEST), RT_RCDATA);
    HGLOBAL loaded = found != nullptr ? LoadResource(module, found) : nullptr;
    const void* data = loaded != nullptr ? LockResource(loaded) : nullptr;
    return data != nullptr
               ? std::string(static_cast<const char*>(data), SizeofResource(module, found))
               : std::string();
}

Status StageVerified(const std::wstring& parent, const std::string& manifest, CLogging& log,
                     std::wstring& folder) {
    std::vector<package_manifest::Entry> entries;
    if (!package_manifest::Parse(manifest, entries)) {
        return Refuse(log, L"setup.exe carries no readable package manifest");
    }
    folder = parent + L"\\run" + RandomSuffix();
    DWORD lastError = 0;
    Status status = security_sys::CreateSecuredFolder(folder, agent_folders::kDataFolderAccess,
                                                      &lastError);
    if (Failed(status)) {
        return log.Check(status, kFunction,
                         L"could not make the run's folder " + folder + L", GetLastError: " +
                             std::to_wstring(lastError));
    }
    std::vector<std::wstring> staged;
    for (const package_manifest::Entry& entry : entries) {
        status = CopyChecked(entry, folder, log);
        if (Failed(status)) {
            break;
        }
        std::wstring relative;
        text_sys::Utf8ToWide(entry.path, relative);
        staged.push_back(relative);
    }
    if (!Failed(status)) {
        status = CopyOwnFiles(folder, staged, log);
    }
    if (Failed(status)) {
        DeleteOrDeferFolder(folder);  // held by nobody: a deferral would say so in the result
        folder.clear();
        return status;
    }
    LogLeftOut(staged, log);
    return kStatusOk;
}

}  // namespace package_check
