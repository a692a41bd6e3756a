#include "sys/process_sys.h"

#include <shlwapi.h>
#include <tlhelp32.h>
#include <wtsapi32.h>

#include "sys/scope_exit.h"
#include "sys/text_sys.h"

#include <cstdlib>
#include <mutex>
#include <thread>

namespace process_sys {
namespace {

constexpr DWORD kCreationFlags =
    CREATE_NO_WINDOW | EXTENDED_STARTUPINFO_PRESENT | CREATE_UNICODE_ENVIRONMENT |
    NORMAL_PRIORITY_CLASS;
constexpr DWORD kSecondProcessAccess = SYNCHRONIZE | PROCESS_QUERY_INFORMATION;

std::mutex g_sleepHookMutex;
SleepHook g_sleepHook;

bool IsPathEntry(const std::wstring& entry) {
    // Compared as the system compares variable names: ordinal, case-insensitive, whatever
    // the locale. Setting the locale here would change number formatting program-wide.
    return entry.size() >= 5 &&
           CompareStringOrdinal(entry.c_str(), 5, L"path=", 5, TRUE) == CSTR_EQUAL;
}

}  // namespace

BOOL CreateProcessWithHandleList(wchar_t* commandLine, BOOL inheritHandles, void* environment,
                                 STARTUPINFOW* startupInfo, PROCESS_INFORMATION* processInfo,
                                 DWORD handleCount, HANDLE* handles) {
    if (handleCount >= 0x1FFFFFFF || startupInfo == nullptr ||
        startupInfo->cb != sizeof(STARTUPINFOW)) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }

    LPPROC_THREAD_ATTRIBUTE_LIST attributeList = nullptr;
    bool initialised = false;
    // Deleting and freeing the list keep the caller's last error.
    const ScopeExit freeAttributes([&] {
        if (attributeList == nullptr) {
            return;
        }
        DWORD error = GetLastError();
        if (initialised) {
            DeleteProcThreadAttributeList(attributeList);
        }
        HeapFree(GetProcessHeap(), 0, attributeList);
        SetLastError(error);
    });

    if (handleCount > 0) {
        SIZE_T size = 0;
        if (!InitializeProcThreadAttributeList(nullptr, 1, 0, &size) &&
            GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
            return FALSE;
        }
        attributeList =
            static_cast<LPPROC_THREAD_ATTRIBUTE_LIST>(HeapAlloc(GetProcessHeap(), 0, size));
        if (attributeList == nullptr) {
            SetLastError(ERROR_NOT_ENOUGH_MEMORY);
            return FALSE;
        }
        initialised = InitializeProcThreadAttributeList(attributeList, 1, 0, &size) != FALSE;
        if (!initialised ||
            !UpdateProcThreadAttribute(attributeList, 0, PROC_THREAD_ATTRIBUTE_HANDLE_LIST, handles,
                                       handleCount * sizeof(HANDLE), nullptr, nullptr)) {
            return FALSE;
        }
    }

    STARTUPINFOEXW extended{};
    extended.StartupInfo = *startupInfo;
    extended.StartupInfo.cb = sizeof(STARTUPINFOEXW);
    extended.lpAttributeList = attributeList;
    return CreateProcessW(nullptr, commandLine, nullptr, nullptr, inheritHandles, kCreationFlags,
                          environment, nullptr, &extended.StartupInfo, processInfo);
}

namespace {

// The null device, inheritable, for the streams of a child nobody reads.
HANDLE OpenNullDevice() {
    SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return CreateFileW(L"NUL", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                       &inherit, OPEN_EXISTING, 0, nullptr);
}

}  // namespace

ChildProcess::ChildProcess(const std::wstring& commandLine, ChildStreams streams) {
    const bool connected = streams != ChildStreams::kInherit;
    if (connected) {
        SECURITY_ATTRIBUTES inherit{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
        if (!CreatePipe(stdinRead_.Put(), stdinWrite_.Put(), &inherit, 0)) {
            return;
        }
        // Output nobody reads must not sit in a pipe: a full pipe stalls the child.
        childError_.Reset(OpenNullDevice());
        if (streams == ChildStreams::kOutput) {
            if (!CreatePipe(stdoutRead_.Put(), stdoutWrite_.Put(), &inherit, 0)) {
                return;
            }
        } else {
            stdoutWrite_.Reset(OpenNullDevice());
        }
        if (!childError_ || !stdoutWrite_) {
            return;
        }
        // This process's own ends stay out of the child.
        SetHandleInformation(stdinWrite_.Get(), HANDLE_FLAG_INHERIT, 0);
        if (stdoutRead_) {
            SetHandleInformation(stdoutRead_.Get(), HANDLE_FLAG_INHERIT, 0);
        }
    }

    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    HANDLE childEnds[3] = {stdinRead_.Get(), stdoutWrite_.Get(), childError_.Get()};
    if (connected) {
        startup.dwFlags = STARTF_USESTDHANDLES;
        startup.hStdInput = childEnds[0];
        startup.hStdOutput = childEnds[1];
        startup.hStdError = childEnds[2];
    }

    std::vector<wchar_t> environment = GetModifiedPath();
    std::vector<wchar_t> mutableCommandLine(commandLine.begin(), commandLine.end());
    mutableCommandLine.push_back(L'\0');
    PROCESS_INFORMATION info{};
    if (CreateProcessWithHandleList(mutableCommandLine.data(), connected ? TRUE : FALSE,
                                    environment.data(), &startup, &info, connected ? 3 : 0,
                                    connected ? childEnds : nullptr)) {
        process_.Reset(info.hProcess);
        thread_.Reset(info.hThread);
        processId_ = info.dwProcessId;
    }
    // A command line may carry a secret (the farewell password); this copy goes now.
    SecureZeroMemory(mutableCommandLine.data(), mutableCommandLine.size() * sizeof(wchar_t));

    // The parent keeps only its own ends, so that reads see end-of-file when the child exits.
    stdinRead_.Reset();
    stdoutWrite_.Reset();
    childError_.Reset();
}

std::wstring ChildProcess::ReadOutput(DWORD limitMs) {
    constexpr DWORD kPollMs = 10;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(limitMs);
    std::string bytes;
    char buffer[4096];
    for (;;) {
        // Fails once the child has closed its end and everything was read.
        DWORD available = 0;
        if (!PeekNamedPipe(stdoutRead_.Get(), nullptr, 0, nullptr, &available, nullptr)) {
            break;
        }
        if (available > 0) {
            DWORD read = 0;
            const DWORD wanted = available < sizeof(buffer) ? available : sizeof(buffer);
            if (!ReadFile(stdoutRead_.Get(), buffer, wanted, &read, nullptr)) {
                break;
            }
            bytes.append(buffer, read);
            continue;
        }
        // A blocking read would wait for a child that may never write or end.
        if (limitMs != INFINITE && std::chrono::steady_clock::now() >= deadline) {
            break;
        }
        Sleep(kPollMs);
    }
    if (bytes.size() >= 2 && bytes.compare(bytes.size() - 2, 2, "\r\n") == 0) {
        bytes.resize(bytes.size() - 2);
    }

    std::wstring wide;
    text_sys::NarrowToWide(bytes.c_str(), wide);  // output for a log: as far as it converts
    return wide;
}

Status ChildProcess::Wait(DWORD timeoutMs) {
    if (stdinWrite_) {
        const char endOfFile = 0x1A;
        DWORD written = 0;
        WriteFile(stdinWrite_.Get(), &endOfFile, 1, &written, nullptr);
    }
    stdinWrite_.Reset();

    bool secondFailed = false;
    if (secondProcessName_ != nullptr) {
        UniqueFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
        PROCESSENTRY32W entry{};
        entry.dwSize = sizeof(entry);
        if (snapshot && Process32FirstW(snapshot.Get(), &entry)) {
            do {
                if (_wcsicmp(entry.szExeFile, secondProcessName_) != 0) {
                    continue;
                }
                UniqueKernelHandle second(
                    OpenProcess(kSecondProcessAccess, FALSE, entry.th32ProcessID));
                if (second) {
                    if (WaitForSingleObject(second.Get(), timeoutMs) == WAIT_OBJECT_0) {
                        DWORD code = 0;
                        if (secondExitCode_ != nullptr && GetExitCodeProcess(second.Get(), &code)) {
                            *secondExitCode_ = code;
                        }
                    } else {
                        secondFailed = true;
                    }
                }
                break;
            } while (Process32NextW(snapshot.Get(), &entry));
        }
    }

    DWORD waited = WaitForSingleObject(process_.Get(), timeoutMs == 0 ? INFINITE : timeoutMs);
    if (waited != WAIT_OBJECT_0 || secondFailed) {
        return kStatusWaitFailed;
    }
    return kStatusOk;
}

std::vector<wchar_t> GetModifiedPath() {
    std::vector<std::wstring> entries;
    if (wchar_t* block = GetEnvironmentStringsW()) {
        for (const wchar_t* p = block; *p != L'\0'; p += wcslen(p) + 1) {
            entries.emplace_back(p);
        }
        FreeEnvironmentStringsW(block);
    }

    const std::wstring folder = FolderOf(GetModulePath());
    std::vector<wchar_t> result;
    for (std::wstring& entry : entries) {
        if (IsPathEntry(entry)) {
            entry += L';';
            entry += folder;
        }
        result.insert(result.end(), entry.begin(), entry.end());
        result.push_back(L'\0');
    }
    result.push_back(L'\0');
    return result;
}

std::set<DWORD> GetPidsByName(const std::wstring& executableName) {
    std::set<DWORD> pids;
    UniqueFileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
    if (!snapshot) {
        return pids;
    }
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more;
         more = Process32NextW(snapshot.Get(), &entry)) {
        if (_wcsicmp(entry.szExeFile, executableName.c_str()) == 0) {
            pids.insert(entry.th32ProcessID);
        }
    }
    return pids;
}

bool EnableShutdownPrivilege(bool& wasEnabled) {
    UniqueKernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY,
                          token.Put())) {
        return false;
    }
    TOKEN_PRIVILEGES wanted{};
    wanted.PrivilegeCount = 1;
    wanted.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    bool ok = false;
    if (LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &wanted.Privileges[0].Luid)) {
        TOKEN_PRIVILEGES previous{};
        DWORD previousSize = sizeof(previous);
        ok = AdjustTokenPrivileges(token.Get(), FALSE, &wanted, sizeof(previous), &previous,
                                   &previousSize) != FALSE;
        if (ok) {
            // An empty previous state means nothing changed: the privilege was already on.
            wasEnabled = previous.PrivilegeCount == 0 || previous.Privileges[0].Attributes != 0;
        }
    }
    return ok;
}

bool IsSessionActive(DWORD sessionId) {
    UniqueWtsMemory<WTS_SESSION_INFOW*> sessions;
    DWORD count = 0;
    if (!WTSEnumerateSessionsW(WTS_CURRENT_SERVER_HANDLE, 0, 1, sessions.Put(), &count)) {
        return false;
    }
    bool active = false;
    for (DWORD i = 0; i < count; ++i) {
        if (sessions.Get()[i].SessionId == sessionId) {
            active = sessions.Get()[i].State == WTSActive;
            break;
        }
    }
    return active;
}

bool IsRunningAsLocalSystem() {
    UniqueKernelHandle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, token.Put())) {
        return false;
    }
    bool system = false;
    SID_IDENTIFIER_AUTHORITY ntAuthority = SECURITY_NT_AUTHORITY;
    PSID localSystem = nullptr;
    if (AllocateAndInitializeSid(&ntAuthority, 1, SECURITY_LOCAL_SYSTEM_RID, 0, 0, 0, 0, 0, 0, 0,
                                 &localSystem)) {
        alignas(TOKEN_USER) BYTE buffer[84];
        DWORD size = 0;
        if (GetTokenInformation(token.Get(), TokenUser, buffer, sizeof(buffer), &size)) {
            system = EqualSid(reinterpret_cast<TOKEN_USER*>(buffer)->User.Sid, localSystem) != FALSE;
        }
        FreeSid(localSystem);
    }
    return system;
}

bool IsAdministratorsMember() {
    SID_IDENTIFIER_AUTHORITY ntAuthority = SECURITY_NT_AUTHORITY;
    PSID administrators = nullptr;
    if (!AllocateAndInitializeSid(&ntAuthority, 2, SECURITY_BUILTIN_DOMAIN_RID,
                                  DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0, &administrators)) {
        return false;
    }
    BOOL member = FALSE;
    if (!CheckTokenMembership(nullptr, administrators, &member)) {
        member = FALSE;
    }
    FreeSid(administrators);
    return member != FALSE;
}

std::wstring GetModulePath() {
    wchar_t path[MAX_PATH] = {};
    DWORD length = GetModuleFileNameW(nullptr, path, MAX_PATH);
    if (length == 0 || length >= MAX_PATH) {
        return {};
    }
    wchar_t canonical[MAX_PATH] = {};
    if (!PathCanonicalizeW(canonical, path)) {
        return {};
    }
    return canonical;
}

std::wstring FolderOf(const std::wstring& path) {
    size_t slash = path.find_last_of(L'\\');
    if (slash == std::wstring::npos) {
        return path;
    }
    if (slash == 0) {
        return L"\\";
    }
    return path.substr(0, slash);
}

void SleepFor(std::chrono::milliseconds duration) {
    SleepHook hook;
    {
        std::lock_guard<std::mutex> lock(g_sleepHookMutex);
        hook = g_sleepHook;
    }
    if (hook) {
        hook(duration);
        return;
    }
    const auto until = std::chrono::steady_clock::now() + duration;
    while (std::chrono::steady_clock::now() < until) {
        std::this_thread::sleep_until(until);
    }
}

void SetSleepHook(SleepHook hook) {
    std::lock_guard<std::mutex> lock(g_sleepHookMutex);
    g_sleepHook = std::move(hook);
}

}  // namespace process_sys
