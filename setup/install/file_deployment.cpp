#include <windows.h>
#include <shlwapi.h>

#include <algorithm>
#include <cstdio>

#include "setup/install/agent_installer.h"
#include "setup/uninstall/deferred_deletion.h"
#include "sys/file_sys.h"
#include "sys/process_sys.h"

namespace {

constexpr char kCopyFilePath[] = "AgentInstaller::CopyFilePath";
constexpr int kCopyTries = 6;

std::wstring NameOf(std::wstring path) {
    if (path.size() > 1 && path.back() == L'\\') {
        path.pop_back();
    }
    return path.substr(path.find_last_of(L'\\') + 1);
}

}  // namespace

Status AgentInstaller::CopyAllFiles(const std::wstring& source, const std::wstring& destination,
                                    const std::vector<std::wstring>& excluded) {
    Status status = file_sys::CreateFolderTree(destination);
    if (Failed(status)) {
        return status;
    }
    for (const std::wstring& entry : file_sys::ListFolder(source)) {
        const std::wstring name = NameOf(entry);
        const std::wstring target = destination + L"\\" + name;
        if (file_sys::IsLink(entry)) {
            // A link would bring whatever it points at into the program folder.
            log_.WarningPrefixed(kCopyFilePath, L"not copied, a link: \"" + entry + L"\"");
            continue;
        }
        if (PathIsDirectoryW(entry.c_str())) {
            status = CopyAllFiles(entry, target, excluded);
        } else if (std::find(excluded.begin(), excluded.end(), name) != excluded.end()) {
            continue;
        } else {
            if (environment_.faultAt != nullptr) {
                environment_.faultAt("copy-file");
            }
            status = CopyFilePath(entry, target);
        }
        if (Failed(status)) {
            return status;
        }
    }
    return kStatusOk;
}

Status AgentInstaller::CopyFilePath(const std::wstring& source, const std::wstring& destination) {
    Status status = kStatusOk;
    bool copied = false;
    // Six tries, each failed one followed by a pause, the last one included.
    for (int attempt = 0; attempt < kCopyTries && !copied; ++attempt) {
        copied = CopyFileW(source.c_str(), destination.c_str(), FALSE) != FALSE;
        if (!copied) {
            log_.WarningPrefixed(kCopyFilePath, L"retrying to copy file to \"" + destination + L"\"");
            process_sys::SleepFor(std::chrono::milliseconds(1000));
        }
    }
    if (!copied) {
        log_.WarningPrefixed(kCopyFilePath,
                             L"Copy file failed, rename the original file \"" + destination + L"\"");
        const std::wstring aside = destination + RandomSuffix() + L".delete";
        if (_wrename(destination.c_str(), aside.c_str()) != 0) {
            return kStatusRenameFailed;
        }
        copied = CopyFileW(source.c_str(), destination.c_str(), FALSE) != FALSE;
        status = copied ? kStatusOk : kStatusCopyFailed;
    }
    log_.InfoPrefixed(kCopyFilePath, copied ? L"OK: " + destination
                                            : L"FAILED: " + destination + L" (" +
                                                  CLogging::FormatStatus(status) + L")");
    return status;
}
