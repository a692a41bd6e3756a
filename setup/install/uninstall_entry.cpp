#include "setup/install/uninstall_entry.h"

#include <windows.h>
#include <shlobj.h>

#include "sys/registry_sys.h"
#include "sys/unique_handle.h"

namespace uninstall_entry {
namespace {

constexpr wchar_t kFormerConsole[] = L"Zelko Business Fernhaven";
constexpr wchar_t kUninstallRoot[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\";
constexpr wchar_t kRunKey[] = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
// The former console agent's start-menu folders, below the common programs folder.
constexpr const wchar_t* kFormerConsoleFolders[] = {L"Zelko Business Fernhaven",
                                                    L"Zelko\\Business Fernhaven"};

// A failed value leaves the entry incomplete but the agent installed and working; the entry
// is written again by the next installation.
void SetText(HKEY key, const wchar_t* name, const std::wstring& value) {
    // Stored without the terminating zero; readers must not rely on one.
    RegSetValueExW(key, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>(value.size() * sizeof(wchar_t)));
}

void SetNumber(HKEY key, const wchar_t* name, DWORD value) {
    RegSetValueExW(key, name, 0, REG_DWORD, reinterpret_cast<const BYTE*>(&value),
                   sizeof(value));
}

bool IsFolder(const std::wstring& path) {
    DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

void WriteValues(HKEY key, const CAgentBranding& brand, const std::wstring& programFolder,
                 std::uint32_t languageId, const std::array<std::uint16_t, 4>& version) {
    // The deployed setup program removes the agent again; it needs its mode letter.
    const std::wstring uninstaller = programFolder + L"\\setup.exe";
    std::wstring command = L"\"" + uninstaller + L"\" /u";
    if (languageId != 0) {
        command += L" -lid \"" + std::to_wstring(languageId) + L"\"";
    }
    SetText(key, L"DisplayName", brand.productFamilyName);
    SetText(key, L"UninstallString", command);
    // Deployment tools and package managers remove silently with this one.
    SetText(key, L"QuietUninstallString", L"\"" + uninstaller + L"\" /u -sil 1");
    SetText(key, L"Publisher", brand.publisher);
    SetText(key, L"DisplayIcon", uninstaller);
    SetText(key, L"DisplayVersion", std::to_wstring(version[0]) + L"." +
                                        std::to_wstring(version[1]) + L"." +
                                        std::to_wstring(version[2]));
    SetText(key, L"HelpLink", brand.webPageUrl);
    SetNumber(key, L"NoModify", 1);
    SetNumber(key, L"NoRepair", 1);
    SetNumber(key, L"VersionMajor", version[0]);
    SetNumber(key, L"VersionMinor", version[1]);
    // Major in the high byte, minor in the next, build in the low 16 bits.
    SetNumber(key, L"Version",
              static_cast<DWORD>(version[0]) << 24 | static_cast<DWORD>(version[1] & 0xFF) << 16 |
                  version[2]);
    SetText(key, L"InstallLocation", programFolder);
}

}  // namespace

void Write(const CAgentBranding& brand, const std::wstring& programFolder,
           std::uint32_t languageId, const std::array<std::uint16_t, 4>& version) {
    // Either may be absent; a new entry is written all the same.
    registry_sys::DeleteRegistryKey(std::wstring(kUninstallRoot) + kFormerConsole,
                                    registry_sys::kAllAccess64, true);
    registry_sys::DeleteRegistryKey(brand.uninstallRegistryKey, registry_sys::kAllAccess64, true);
    UniqueRegKey key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, brand.uninstallRegistryKey, 0, nullptr, 0,
                        KEY_ALL_ACCESS | KEY_WOW64_64KEY, nullptr, key.Put(),
                        nullptr) != ERROR_SUCCESS) {
        return;  // the agent works without its entry
    }
    WriteValues(key.Get(), brand, programFolder, languageId, version);
}

void RemoveFormerConsoleAutostart() {
    wchar_t programs[MAX_PATH] = {};
    if (SUCCEEDED(SHGetFolderPathW(nullptr, CSIDL_COMMON_PROGRAMS, nullptr, SHGFP_TYPE_CURRENT,
                                   programs))) {
        for (const wchar_t* folder : kFormerConsoleFolders) {
            if (IsFolder(std::wstring(programs) + L"\\" + folder)) {
                return;  // that agent is still present and keeps its autostart
            }
        }
    }
    // Usually there is none to delete.
    registry_sys::DeleteRegistryValue(registry_sys::kLocalMachine, kRunKey, kFormerConsole);
}

}  // namespace uninstall_entry
