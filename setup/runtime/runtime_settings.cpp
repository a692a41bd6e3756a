#include "setup/runtime/runtime_settings.h"

#include <windows.h>

#include <cstring>
#include <cwchar>
#include <vector>

#include "setup/branding/branding.h"
#include "sys/file_sys.h"
#include "sys/registry_sys.h"
#include "sys/text_sys.h"
#include "sys/unique_handle.h"

namespace {

struct KeyMapping {
    const wchar_t* key;
    const wchar_t* valueName;
    bool common;
};

constexpr KeyMapping kMappings[] = {
    {L"runtime://directory/data", L"DataDirectory", false},
    {L"runtime://directory/database", L"DatabaseDirectory", false},
    {L"runtime://common/debug", L"EnableLogLevelDebug", true},
    {L"runtime://common/avc", L"AvInstallerCommandLine", true},
    {L"runtime://directory/dump", L"DumpDirectory", false},
    {L"runtime://directory/log", L"LogDirectory", false},
    {L"runtime://directory/program", L"ProgramDirectory", false},
    {L"runtime://directory/temp", L"TempDirectory", false},
    {L"runtime://agent/clone", L"Clone", false},
    {L"runtime://agent/keepdatadir", L"KeepDataDir", false},
    {L"runtime://agent/LastReportedBootTime", L"LastReportedBootTime", false},
    {L"runtime://agent/deployId", L"DeploymentId", false},
    {L"runtime://agent/LastSyncTime", L"LastSyncTime", false},
    {L"runtime://agent/DisableUpdates", L"DisableUpdates", false},
    {L"runtime://agent/LangCode", L"LangCode", false},
};

// Each program that uses the runtime keeps its common settings apart.
std::wstring ExecutableVariant() {
    std::wstring path = file_sys::GetExecutablePath();
    const std::wstring name = text_sys::ToLowerText(path.substr(path.find_last_of(L'\\') + 1));
    if (name == L"setup.exe") {
        return L"\\setup";
    }
    if (name == L"watchdog.exe") {
        return L"\\watchdog";
    }
    return {};
}

Status OpenForWriting(const RuntimeSettingLocation& location, UniqueRegKey& key) {
    return RegCreateKeyExW(HKEY_LOCAL_MACHINE, location.registryKey.c_str(), 0, nullptr, 0,
                           KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, key.Put(),
                           nullptr) == ERROR_SUCCESS
               ? kStatusOk
               : kStatusRegistryFailed;
}

// Reads a value of the expected type; a missing key or value is "not found".
Status ReadValue(const std::wstring& runtimeKey, DWORD wantedType, std::vector<BYTE>& data) {
    const std::optional<RuntimeSettingLocation> location = LocateRuntimeSetting(runtimeKey);
    if (!location) {
        return kStatusNotFound;
    }
    DWORD type = 0;
    DWORD size = 0;
    LSTATUS code = RegGetValueW(HKEY_LOCAL_MACHINE, location->registryKey.c_str(),
                                location->valueName.c_str(), RRF_RT_ANY | RRF_SUBKEY_WOW6464KEY,
                                &type, nullptr, &size);
    if (code == ERROR_FILE_NOT_FOUND || code == ERROR_PATH_NOT_FOUND) {
        return kStatusNotFound;
    }
    if (code != ERROR_SUCCESS || type != wantedType) {
        return kStatusRegistryFailed;
    }
    data.assign(size + sizeof(wchar_t), 0);
    code = RegGetValueW(HKEY_LOCAL_MACHINE, location->registryKey.c_str(),
                        location->valueName.c_str(), RRF_RT_ANY | RRF_SUBKEY_WOW6464KEY, &type,
                        data.data(), &size);
    // The type says nothing of the size: anyone may store a REG_DWORD of one byte or of ten.
    if (code != ERROR_SUCCESS || type != wantedType ||
        (wantedType == REG_DWORD && size != sizeof(DWORD))) {
        return kStatusRegistryFailed;
    }
    return kStatusOk;
}

Status WriteValue(const std::wstring& runtimeKey, DWORD type, const void* data, DWORD size) {
    const std::optional<RuntimeSettingLocation> location = LocateRuntimeSetting(runtimeKey);
    if (!location) {
        return kStatusNotFound;
    }
    UniqueRegKey key;
    Status status = OpenForWriting(*location, key);
    if (Failed(status)) {
        return status;
    }
    LSTATUS code = RegSetValueExW(key.Get(), location->valueName.c_str(), 0, type,
                                  static_cast<const BYTE*>(data), size);
    return code == ERROR_SUCCESS ? kStatusOk : kStatusRegistryFailed;
}

}  // namespace

std::wstring RuntimeRegistryBase() {
    std::wstring base = registry_sys::GetRuntimeRegistryBase();
    if (base.empty()) {
        // Before the runtime has registered itself it keeps its settings below the brand.
        base = std::wstring(GetBranding().companyRegistryKey) + L"\\";
    }
    return base;
}

std::optional<RuntimeSettingLocation> LocateRuntimeSetting(const std::wstring& key) {
    for (const KeyMapping& mapping : kMappings) {
        if (key == mapping.key) {
            const std::wstring base = RuntimeRegistryBase();
            return RuntimeSettingLocation{
                mapping.common ? base + L"SB Runtime" + ExecutableVariant()
                               : base + L"Business Agent",
                mapping.valueName};
        }
    }
    return std::nullopt;
}

Status ReadRuntimeNumber(const std::wstring& key, std::uint32_t& value) {
    std::vector<BYTE> data;
    Status status = ReadValue(key, REG_DWORD, data);
    if (!Failed(status)) {
        std::memcpy(&value, data.data(), sizeof(value));
    }
    return status;
}

Status WriteRuntimeNumber(const std::wstring& key, std::uint32_t value) {
    return WriteValue(key, REG_DWORD, &value, sizeof(value));
}

Status ReadRuntimeText(const std::wstring& key, std::wstring& value) {
    std::vector<BYTE> data;
    Status status = ReadValue(key, REG_SZ, data);
    if (!Failed(status)) {
        value = reinterpret_cast<const wchar_t*>(data.data());
    }
    return status;
}

Status WriteRuntimeText(const std::wstring& key, const std::wstring& value) {
    return WriteValue(key, REG_SZ, value.c_str(),
                      static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
}

Status DeleteRuntimeValue(const std::wstring& key) {
    const std::optional<RuntimeSettingLocation> location = LocateRuntimeSetting(key);
    if (!location) {
        return kStatusNotFound;
    }
    return registry_sys::DeleteRegistryValue(registry_sys::kLocalMachine, location->registryKey,
                                             location->valueName);
}

Status CRuntimeSettings::GetNumber(const wchar_t* key, std::uint32_t* value) {
    return value == nullptr ? kStatusNotFound : ReadRuntimeNumber(key, *value);
}

Status CRuntimeSettings::SetNumber(const wchar_t* key, std::uint32_t value) {
    return WriteRuntimeNumber(key, value);
}

Status CRuntimeSettings::GetText(const wchar_t* key, wchar_t* buffer, std::uint32_t capacity) {
    std::wstring value;
    Status status = ReadRuntimeText(key, value);
    if (Failed(status)) {
        return status;
    }
    if (buffer == nullptr || value.size() >= capacity) {
        return kStatusConversionFailed;
    }
    wcscpy_s(buffer, capacity, value.c_str());
    return kStatusOk;
}

Status CRuntimeSettings::SetText(const wchar_t* key, const wchar_t* value) {
    return WriteRuntimeText(key, value != nullptr ? value : L"");
}
