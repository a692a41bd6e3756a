#include "sys/registry_sys.h"

#include "sys/unique_handle.h"

namespace registry_sys {
namespace {

constexpr wchar_t kRuntimeClassKey[] =
    L"SOFTWARE\\Classes\\CLSID\\{5E2B8C41-7A3D-4F96-B0E2-1C7D9A34F85B}\\";

// Kept once found; while missing, every call looks again.
std::wstring g_runtimeBase;
std::wstring g_runtimeKey;
std::wstring g_agentBaseKey;

std::wstring ReadRuntimeBase() {
    UniqueRegKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kRuntimeClassKey, 0, AccessMask(kQueryValue),
                      key.Put()) != ERROR_SUCCESS) {
        return {};
    }
    wchar_t value[MAX_PATH * 2] = {};
    DWORD size = sizeof(value) - sizeof(wchar_t);
    DWORD type = 0;
    std::wstring base;
    if (RegQueryValueExW(key.Get(), L"SB Runtime", nullptr, &type, reinterpret_cast<BYTE*>(value),
                         &size) == ERROR_SUCCESS &&
        (type == REG_SZ || type == REG_EXPAND_SZ)) {
        base.assign(value, wcsnlen(value, size / sizeof(wchar_t)));
    }
    return base;
}

std::wstring KeepOnceFound(std::wstring& kept, const wchar_t* suffix) {
    if (kept.empty()) {
        const std::wstring base = GetRuntimeRegistryBase();
        if (!base.empty()) {
            kept = base + suffix;
        }
    }
    return kept;
}

}  // namespace

REGSAM AccessMask(unsigned mode) {
    static const REGSAM kMasks[] = {0xF003F, 0xF023F, 0xF013F, 0x2,     0x202,   0x102,
                                    0x1,     0x201,   0x101,   0x20006, 0x20206, 0x20106};
    return mode < sizeof(kMasks) / sizeof(kMasks[0]) ? kMasks[mode] : kMasks[0];
}

HKEY RootKey(unsigned root) {
    switch (root) {
        case kClassesRoot:
            return HKEY_CLASSES_ROOT;
        case kCurrentConfig:
            return HKEY_CURRENT_CONFIG;
        case kCurrentUser:
            return HKEY_CURRENT_USER;
        case kLocalMachine:
            return HKEY_LOCAL_MACHINE;
        case kUsers:
            return HKEY_USERS;
        default:
            return nullptr;
    }
}

Status DeleteRegistryKey(const std::wstring& keyPath, unsigned access, bool recursive) {
    const REGSAM mask = AccessMask(access);
    LSTATUS code = ERROR_NOT_FOUND;
    if (recursive) {
        UniqueRegKey root;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"", 0, mask, root.Put()) == ERROR_SUCCESS &&
            !keyPath.empty()) {
            code = RegDeleteTreeW(root.Get(), keyPath.c_str());
        }
    } else {
        code = RegDeleteKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), mask, 0);
    }
    if (code == ERROR_SUCCESS || code == ERROR_FILE_NOT_FOUND || code == ERROR_NOT_FOUND) {
        return kStatusOk;
    }
    return kStatusRegistryFailed;
}

bool KeyExists(const std::wstring& keyPath) {
    UniqueRegKey key;
    return RegOpenKeyExW(HKEY_LOCAL_MACHINE, keyPath.c_str(), 0, KEY_READ | KEY_WOW64_64KEY,
                         key.Put()) == ERROR_SUCCESS;
}

Status DeleteRegistryValue(unsigned root, const std::wstring& keyPath,
                           const std::wstring& valueName) {
    HKEY rootKey = RootKey(root);
    UniqueRegKey key;
    if (rootKey == nullptr || RegOpenKeyExW(rootKey, keyPath.c_str(), 0, AccessMask(kSetValue),
                                            key.Put()) != ERROR_SUCCESS) {
        return kStatusRegistryFailed;
    }
    LSTATUS code = RegDeleteValueW(key.Get(), valueName.c_str());
    return code == ERROR_SUCCESS ? kStatusOk : kStatusRegistryFailed;
}

std::wstring GetRuntimeRegistryBase() {
    if (g_runtimeBase.empty()) {
        g_runtimeBase = ReadRuntimeBase();
    }
    return g_runtimeBase;
}

std::wstring GetRuntimeRegistryKey() { return KeepOnceFound(g_runtimeKey, L"SB Runtime"); }

std::wstring GetAgentRegistryBaseKey() { return KeepOnceFound(g_agentBaseKey, L"Business Agent"); }

Status DeleteDeploymentId() {
    return DeleteRegistryValue(kLocalMachine, GetAgentRegistryBaseKey(), L"DeploymentId");
}

}  // namespace registry_sys
