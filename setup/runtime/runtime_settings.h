#pragma once

#include <optional>
#include <string>

#include "setup/runtime/runtime_interfaces.h"

// Where each runtime:// setting lives in the registry.
struct RuntimeSettingLocation {
    std::wstring registryKey;  // below HKEY_LOCAL_MACHINE
    std::wstring valueName;
};

// The location of a runtime key (matched exactly), or nothing for an unknown key. The
// "common" keys live under the runtime's common key, in a subkey for setup.exe and
// watchdog.exe; the others under the agent's key.
std::optional<RuntimeSettingLocation> LocateRuntimeSetting(const std::wstring& key);

// The runtime's registry base: the registered one, else the brand's company key.
std::wstring RuntimeRegistryBase();

Status ReadRuntimeNumber(const std::wstring& key, std::uint32_t& value);
Status WriteRuntimeNumber(const std::wstring& key, std::uint32_t value);
Status ReadRuntimeText(const std::wstring& key, std::wstring& value);
Status WriteRuntimeText(const std::wstring& key, const std::wstring& value);
// Deletes the value of a setting; a missing value is a failure, as for any registry value.
Status DeleteRuntimeValue(const std::wstring& key);

// The setup program's answer to the runtime's questions for settings.
class CRuntimeSettings final : public CObjectBase<IRuntimeHost> {
public:
    Status GetNumber(const wchar_t* key, std::uint32_t* value) override;
    Status SetNumber(const wchar_t* key, std::uint32_t value) override;
    Status GetText(const wchar_t* key, wchar_t* buffer, std::uint32_t capacity) override;
    Status SetText(const wchar_t* key, const wchar_t* value) override;
};
