#include "setup/run_journal.h"

#include <windows.h>

#include <vector>

#include "setup/runtime/runtime_settings.h"
#include "sys/registry_sys.h"
#include "sys/unique_handle.h"

namespace {

// Below the agent's own key: a removal deletes it last, and a rolled-back first
// installation deletes it with the keys it made.
std::wstring JournalKey() { return RuntimeRegistryBase() + L"Business Agent\\SetupRun"; }

std::uint64_t CreationTime(HANDLE process) {
    FILETIME created{}, exited{}, kernel{}, user{};
    if (!GetProcessTimes(process, &created, &exited, &kernel, &user)) {
        return 0;
    }
    return (static_cast<std::uint64_t>(created.dwHighDateTime) << 32) | created.dwLowDateTime;
}

std::uint64_t Now() {
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    return (static_cast<std::uint64_t>(now.dwHighDateTime) << 32) | now.dwLowDateTime;
}

// The process that wrote the journal still runs: the same id and the same start.
bool StillRuns(const JournalRecord& record) {
    const DWORD pid = static_cast<DWORD>(std::wcstoul(record.Get(L"pid").c_str(), nullptr, 10));
    const UniqueKernelHandle process(OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid));
    DWORD exitCode = 0;
    return process && GetExitCodeProcess(process.Get(), &exitCode) && exitCode == STILL_ACTIVE &&
           std::to_wstring(CreationTime(process.Get())) == record.Get(L"created");
}

}  // namespace

Status RunJournal::Begin(const wchar_t* kind) {
    begun_ = true;
    RemoveJournal();  // a journal of this run's own making only
    Note(L"kind", kind);
    Note(L"pid", std::to_wstring(GetCurrentProcessId()));
    Note(L"created", std::to_wstring(CreationTime(GetCurrentProcess())));
    Note(L"started", std::to_wstring(Now()));
    return kStatusOk;
}

void RunJournal::Note(const wchar_t* name, const std::wstring& value) {
    if (!begun_) {
        return;
    }
    HKEY opened = nullptr;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, JournalKey().c_str(), 0, nullptr, 0,
                        KEY_SET_VALUE | KEY_WOW64_64KEY, nullptr, &opened,
                        nullptr) != ERROR_SUCCESS) {
        return;  // the run goes on; only a kill would miss what this note held
    }
    const UniqueRegKey key(opened);
    RegSetValueExW(key.Get(), name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()),
                   static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t)));
    RegFlushKey(key.Get());  // on disk before the change it announces
}

void RunJournal::End() {
    if (begun_) {
        RemoveJournal();
        begun_ = false;
    }
}

std::wstring JournalRecord::Get(const wchar_t* name) const {
    const auto found = values.find(name);
    return found == values.end() ? std::wstring() : found->second;
}

long long JournalRecord::SecondsSinceStart() const {
    const std::uint64_t started = std::wcstoull(Get(L"started").c_str(), nullptr, 10);
    const std::uint64_t now = Now();
    return started == 0 || started > now ? 0 : static_cast<long long>((now - started) / 10000000);
}

std::optional<JournalRecord> ReadInterruptedJournal() {
    HKEY opened = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, JournalKey().c_str(), 0,
                      KEY_QUERY_VALUE | KEY_WOW64_64KEY, &opened) != ERROR_SUCCESS) {
        return std::nullopt;
    }
    const UniqueRegKey key(opened);
    JournalRecord record;
    std::vector<wchar_t> data(32768);
    wchar_t name[256];
    for (DWORD index = 0;; ++index) {
        DWORD nameLength = 256;
        DWORD size = static_cast<DWORD>((data.size() - 1) * sizeof(wchar_t));
        DWORD type = 0;
        if (RegEnumValueW(key.Get(), index, name, &nameLength, nullptr, &type,
                          reinterpret_cast<BYTE*>(data.data()), &size) != ERROR_SUCCESS) {
            break;
        }
        if (type == REG_SZ) {
            data[size / sizeof(wchar_t)] = L'\0';
            record.values[name] = data.data();
        }
    }
    if (StillRuns(record)) {
        return std::nullopt;
    }
    return record;
}

void RemoveJournal() {
    registry_sys::DeleteRegistryKey(JournalKey(), registry_sys::kAllAccess64, true);
}
