#include "sys/service_sys.h"

#include <functional>
#include <vector>

#include "sys/process_sys.h"

namespace service_sys {
namespace {

constexpr DWORD kManagerReadAccess = GENERIC_READ | SC_MANAGER_ALL_ACCESS;  // 0x800F003F
constexpr int kManagerAttempts = 3;
constexpr DWORD kRestartDelayMs = 2000;

void Store(DWORD* lastError, DWORD error) {
    if (lastError != nullptr) {
        *lastError = error;
    }
}

Status QueryServiceConfigField(const std::wstring& name,
                               const std::function<void(const QUERY_SERVICE_CONFIGW&)>& take) {
    UniqueServiceHandle manager = OpenServiceManager(kManagerReadAccess);
    if (!manager) {
        return kStatusServiceManagerUnavailable;
    }
    UniqueServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_QUERY_CONFIG));
    if (!service) {
        return kStatusServiceFailed;  // a missing service has no configuration to read
    }
    DWORD needed = 0;
    if (QueryServiceConfigW(service.Get(), nullptr, 0, &needed) ||
        GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        return kStatusServiceFailed;
    }
    std::vector<BYTE> buffer(needed);
    auto* config = reinterpret_cast<QUERY_SERVICE_CONFIGW*>(buffer.data());
    if (!QueryServiceConfigW(service.Get(), config, needed, &needed)) {
        return kStatusServiceFailed;
    }
    take(*config);
    return kStatusOk;
}

// A description that cannot be set does not fail the creation.
Status Describe(SC_HANDLE service, const wchar_t* description) {
    if (description != nullptr) {
        SERVICE_DESCRIPTIONW text{const_cast<wchar_t*>(description)};
        ChangeServiceConfig2W(service, SERVICE_CONFIG_DESCRIPTION, &text);  // see above
    }
    return kStatusOk;
}

Status ConfigurationFailure(DWORD* lastError) {
    const DWORD error = GetLastError();
    Store(lastError, error);
    return error == ERROR_SERVICE_MARKED_FOR_DELETE ? kStatusServiceNotStarted : kStatusServiceFailed;
}

}  // namespace

UniqueServiceHandle OpenServiceManager(DWORD access, DWORD* lastError) {
    for (int attempt = 0; attempt < kManagerAttempts; ++attempt) {
        UniqueServiceHandle manager(OpenSCManagerW(nullptr, SERVICES_ACTIVE_DATABASEW, access));
        if (manager) {
            return manager;
        }
        Store(lastError, GetLastError());
        process_sys::SleepFor(std::chrono::milliseconds(1000));
    }
    return {};
}

Status CreateOrUpdateService(const std::wstring& name, const std::wstring& binaryPath,
                             DWORD serviceType, DWORD startType, const wchar_t* displayName,
                             const wchar_t* description, DWORD* lastError) {
    UniqueServiceHandle manager = OpenServiceManager(GENERIC_ALL, lastError);
    if (!manager) {
        return kStatusServiceManagerUnavailable;
    }
    UniqueServiceHandle existing(OpenServiceW(manager.Get(), name.c_str(), SERVICE_ALL_ACCESS));
    if (!existing && GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST) {
        Store(lastError, GetLastError());
        return kStatusServiceFailed;
    }
    const wchar_t* shownName = displayName != nullptr ? displayName : name.c_str();
    // Kernel drivers take their path as it is; everything else is quoted once.
    const std::wstring path = serviceType == SERVICE_KERNEL_DRIVER
                                  ? binaryPath
                                  : process_sys::BuildCommandLine(binaryPath);

    if (!existing) {
        UniqueServiceHandle created(CreateServiceW(
            manager.Get(), name.c_str(), shownName, SERVICE_ALL_ACCESS, serviceType, startType,
            SERVICE_ERROR_NORMAL, path.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr));
        return created ? Describe(created.Get(), description)
                       : ConfigurationFailure(lastError);
    }
    if (!ChangeServiceConfigW(existing.Get(), serviceType, startType, SERVICE_ERROR_NORMAL,
                              path.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                              shownName)) {
        return ConfigurationFailure(lastError);
    }
    return Describe(existing.Get(), description);
}

Status SetServiceRecovery(const std::wstring& name, DWORD* lastError) {
    UniqueServiceHandle manager = OpenServiceManager(GENERIC_ALL, lastError);
    if (!manager) {
        return kStatusServiceFailed;
    }
    UniqueServiceHandle service(
        OpenServiceW(manager.Get(), name.c_str(), SERVICE_CHANGE_CONFIG | SERVICE_START));
    if (!service) {
        Store(lastError, GetLastError());
        return kStatusServiceFailed;
    }
    SC_ACTION actions[3] = {{SC_ACTION_RESTART, kRestartDelayMs},
                            {SC_ACTION_RESTART, kRestartDelayMs},
                            {SC_ACTION_RESTART, kRestartDelayMs}};
    SERVICE_FAILURE_ACTIONSW failure{};
    failure.dwResetPeriod = 0;
    failure.cActions = 3;
    failure.lpsaActions = actions;
    if (!ChangeServiceConfig2W(service.Get(), SERVICE_CONFIG_FAILURE_ACTIONS, &failure)) {
        Store(lastError, GetLastError());
        return kStatusServiceFailed;
    }
    return kStatusOk;
}

Status StartServiceByName(const std::wstring& name, DWORD* lastError) {
    UniqueServiceHandle manager = OpenServiceManager(GENERIC_ALL, lastError);
    if (!manager) {
        return kStatusServiceFailed;
    }
    UniqueServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_START));
    if (!service) {
        Store(lastError, GetLastError());
        return kStatusServiceFailed;
    }
    if (!StartServiceW(service.Get(), 0, nullptr)) {
        const DWORD error = GetLastError();
        if (error == ERROR_SERVICE_ALREADY_RUNNING) {
            return kStatusOk;
        }
        Store(lastError, error);
        return kStatusServiceNotStarted;
    }
    return kStatusOk;
}

Status StopService(const std::wstring& name) {
    UniqueServiceHandle manager = OpenServiceManager(GENERIC_ALL);
    if (!manager) {
        return kStatusServiceFailed;
    }
    UniqueServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_STOP));
    SERVICE_STATUS status{};
    if (!service || !ControlService(service.Get(), SERVICE_CONTROL_STOP, &status)) {
        return kStatusServiceFailed;
    }
    return kStatusOk;
}

Status DeleteServiceByName(const std::wstring& name) {
    UniqueServiceHandle manager = OpenServiceManager(GENERIC_ALL);
    if (!manager) {
        return kStatusServiceManagerUnavailable;
    }
    UniqueServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_ALL_ACCESS));
    if (!service) {
        return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? kStatusOk : kStatusServiceFailed;
    }
    if (!DeleteService(service.Get()) && GetLastError() != ERROR_SERVICE_MARKED_FOR_DELETE) {
        return kStatusServiceFailed;
    }
    return kStatusOk;
}

Status ServiceExists(const std::wstring& name, bool& exists) {
    exists = false;
    UniqueServiceHandle manager = OpenServiceManager(GENERIC_ALL);
    if (!manager) {
        return kStatusServiceManagerUnavailable;
    }
    UniqueServiceHandle service(
        OpenServiceW(manager.Get(), name.c_str(), SERVICE_QUERY_CONFIG | SERVICE_QUERY_STATUS));
    if (!service) {
        return GetLastError() == ERROR_SERVICE_DOES_NOT_EXIST ? kStatusOk : kStatusServiceFailed;
    }
    exists = true;
    // A stopped service whose configuration is gone is half removed: it counts as absent.
    SERVICE_STATUS status{};
    DWORD needed = 0;
    if (QueryServiceStatus(service.Get(), &status) && status.dwCurrentState == SERVICE_STOPPED &&
        !QueryServiceConfigW(service.Get(), nullptr, 0, &needed) &&
        GetLastError() == ERROR_FILE_NOT_FOUND) {
        exists = false;
    }
    return kStatusOk;
}

DWORD GetServiceState(const std::wstring& name) {
    UniqueServiceHandle manager = OpenServiceManager(GENERIC_ALL);
    if (!manager) {
        return kStateUnknown;
    }
    UniqueServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_QUERY_STATUS));
    SERVICE_STATUS status{};
    if (!service || !QueryServiceStatus(service.Get(), &status)) {
        return kStateUnknown;
    }
    return status.dwCurrentState >= SERVICE_STOPPED && status.dwCurrentState <= SERVICE_PAUSED
               ? status.dwCurrentState
               : kStateUnknown;
}

Status GetServiceDescription(const std::wstring& name, std::wstring& text) {
    text.clear();
    UniqueServiceHandle manager = OpenServiceManager(kManagerReadAccess);
    if (!manager) {
        return kStatusServiceManagerUnavailable;
    }
    UniqueServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), SERVICE_QUERY_CONFIG));
    if (!service) {
        return kStatusServiceFailed;
    }
    DWORD needed = 0;
    if (QueryServiceConfig2W(service.Get(), SERVICE_CONFIG_DESCRIPTION, nullptr, 0, &needed) ||
        GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        return kStatusServiceFailed;
    }
    std::vector<BYTE> buffer(needed);
    if (!QueryServiceConfig2W(service.Get(), SERVICE_CONFIG_DESCRIPTION, buffer.data(), needed,
                              &needed)) {
        return kStatusServiceFailed;
    }
    const auto* description = reinterpret_cast<const SERVICE_DESCRIPTIONW*>(buffer.data());
    if (description->lpDescription != nullptr) {
        text = description->lpDescription;
    }
    return kStatusOk;
}

Status GetServiceDisplayNameW(const std::wstring& name, std::wstring& text) {
    return QueryServiceConfigField(name, [&text](const QUERY_SERVICE_CONFIGW& config) {
        text = config.lpDisplayName != nullptr ? config.lpDisplayName : L"";
    });
}

Status GetServiceType(const std::wstring& name, ServiceType& type) {
    return QueryServiceConfigField(name, [&type](const QUERY_SERVICE_CONFIGW& config) {
        type = static_cast<ServiceType>(config.dwServiceType);
    });
}

Status GetStartMode(const std::wstring& name, ServiceStartMode& mode) {
    return QueryServiceConfigField(name, [&mode](const QUERY_SERVICE_CONFIGW& config) {
        mode = static_cast<ServiceStartMode>(config.dwStartType);
    });
}

std::wstring GetImagePath(const std::wstring& name) {
    std::wstring path;
    QueryServiceConfigField(name, [&path](const QUERY_SERVICE_CONFIGW& config) {
        path = config.lpBinaryPathName != nullptr ? config.lpBinaryPathName : L"";
    });
    return path;
}

}  // namespace service_sys
