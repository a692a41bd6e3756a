#pragma once

#include <windows.h>

#include <string>

#include "sys/status.h"
#include "sys/unique_handle.h"

// One self-contained call per service operation: open the manager, open the service, act,
// close both.
namespace service_sys {

enum ServiceType : DWORD {
    kKernelDriver = SERVICE_KERNEL_DRIVER,
    kFileSystemDriver = SERVICE_FILE_SYSTEM_DRIVER,
    kAdapter = SERVICE_ADAPTER,
    kRecognizerDriver = SERVICE_RECOGNIZER_DRIVER,
    kOwnProcess = SERVICE_WIN32_OWN_PROCESS,
    kShareProcess = SERVICE_WIN32_SHARE_PROCESS,
    kInteractiveProcess = SERVICE_INTERACTIVE_PROCESS,
};

enum ServiceStartMode : DWORD {
    kBootStart = SERVICE_BOOT_START,
    kSystemStart = SERVICE_SYSTEM_START,
    kAutoStart = SERVICE_AUTO_START,
    kDemandStart = SERVICE_DEMAND_START,
    kDisabled = SERVICE_DISABLED,
};

// GetServiceState answers the platform's state 1 (stopped) to 7 (paused), or 0.
constexpr DWORD kStateUnknown = 0;

// The manager of the local machine, tried three times a second apart; null on failure.
// lastError, when given, receives the platform error of each failed attempt.
UniqueServiceHandle OpenServiceManager(DWORD access, DWORD* lastError = nullptr);

Status CreateOrUpdateService(const std::wstring& name, const std::wstring& binaryPath,
                             DWORD serviceType, DWORD startType,
                             const wchar_t* displayName = nullptr,
                             const wchar_t* description = nullptr, DWORD* lastError = nullptr);
Status SetServiceRecovery(const std::wstring& name, DWORD* lastError = nullptr);
Status StartServiceByName(const std::wstring& name, DWORD* lastError = nullptr);
Status StopService(const std::wstring& name);
Status DeleteServiceByName(const std::wstring& name);
Status ServiceExists(const std::wstring& name, bool& exists);
DWORD GetServiceState(const std::wstring& name);
Status GetServiceDescription(const std::wstring& name, std::wstring& text);
Status GetServiceDisplayNameW(const std::wstring& name, std::wstring& text);
Status GetServiceType(const std::wstring& name, ServiceType& type);
Status GetStartMode(const std::wstring& name, ServiceStartMode& mode);
std::wstring GetImagePath(const std::wstring& name);

}  // namespace service_sys
