// The custom actions of the MSI that wraps the release package. Windows Installer only
// carries the package's files into a folder of their own; setup.exe from there does the
// work, so that the agent is installed, upgraded and removed the one way it always is.
//   InstallAgent  deferred, as SYSTEM: setup.exe /i -sil 1 with TOKEN, SERVER, LID and
//                 SETUPOPTIONS; fails the installation (1603) when setup fails.
//   RemoveAgent   deferred, as SYSTEM, on a real removal only: setup.exe /u -sil 1.
//   AskRestart    immediate, after InstallFinalize: a deferred action cannot ask for the
//                 restart, so this one reads the run's record and does.
// The record setup.exe writes with -result tells each of them how the run ended.
#include <windows.h>
#include <msi.h>
#include <msiquery.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

constexpr wchar_t kRecordName[] = L"last-run.json";

std::wstring Property(MSIHANDLE install, const wchar_t* name) {
    DWORD size = 0;
    wchar_t none[1] = L"";
    MsiGetPropertyW(install, name, none, &size);
    std::wstring value(size + 1, L'\0');
    size = static_cast<DWORD>(value.size());
    if (MsiGetPropertyW(install, name, value.data(), &size) != ERROR_SUCCESS) {
        return {};
    }
    value.resize(size);
    return value;
}

// A line in the installer's log (/l*v).
void Log(MSIHANDLE install, const std::wstring& text) {
    PMSIHANDLE record = MsiCreateRecord(1);
    MsiRecordSetStringW(record, 0, (L"Business Agent setup: " + text).c_str());
    MsiProcessMessage(install, INSTALLMESSAGE_INFO, record);
}

// The deferred actions' data: fields separated by tabs, which no field can hold.
std::vector<std::wstring> Fields(const std::wstring& data) {
    std::vector<std::wstring> fields(1);
    for (wchar_t c : data) {
        if (c == L'\t') {
            fields.emplace_back();
        } else {
            fields.back() += c;
        }
    }
    return fields;
}

std::string Base64(const std::string& bytes) {
    static const char kDigits[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (size_t at = 0; at < bytes.size(); at += 3) {
        unsigned value = static_cast<unsigned char>(bytes[at]) << 16;
        value |= at + 1 < bytes.size() ? static_cast<unsigned char>(bytes[at + 1]) << 8 : 0;
        value |= at + 2 < bytes.size() ? static_cast<unsigned char>(bytes[at + 2]) : 0;
        text += kDigits[value >> 18 & 63];
        text += kDigits[value >> 12 & 63];
        text += at + 1 < bytes.size() ? kDigits[value >> 6 & 63] : '=';
        text += at + 2 < bytes.size() ? kDigits[value & 63] : '=';
    }
    return text;
}

std::string Utf8(const std::wstring& text) {
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()),
                                         nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), bytes.data(), size,
                        nullptr, nullptr);
    return bytes;
}

std::string ReadFile(const std::wstring& path) {
    std::string bytes;
    if (FILE* file = _wfopen(path.c_str(), L"rb")) {
        char buffer[4096];
        for (size_t read; (read = fread(buffer, 1, sizeof(buffer), file)) > 0;) {
            bytes.append(buffer, read);
        }
        fclose(file);
    }
    return bytes;
}

// A text field of the record, or "" when it is absent or null. The record's shape is fixed
// and its texts hold no quotes that matter here.
std::string Field(const std::string& record, const char* name) {
    const std::string key = std::string("\"") + name + "\": \"";
    const size_t at = record.find(key);
    if (at == std::string::npos) {
        return {};
    }
    const size_t begin = at + key.size();
    return record.substr(begin, record.find('"', begin) - begin);
}

// Runs setup.exe from the MSI's folder and waits; 0xFFFFFFFF when it could not start.
DWORD RunSetup(MSIHANDLE install, const std::wstring& folder, const std::wstring& arguments) {
    const std::wstring program = folder + L"setup.exe";
    std::wstring line = L"\"" + program + L"\" " + arguments + L" -result \"" + folder +
                        kRecordName + L"\"";
    DeleteFileW((folder + kRecordName).c_str());
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE,
                        CREATE_NO_WINDOW, nullptr, folder.c_str(), &startup, &process)) {
        Log(install, L"setup.exe could not be started, error " + std::to_wstring(GetLastError()));
        return 0xFFFFFFFF;
    }
    WaitForSingleObject(process.hProcess, INFINITE);
    DWORD code = 0xFFFFFFFF;
    GetExitCodeProcess(process.hProcess, &code);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return code;
}

// Logs how the run ended, from its exit code and record; true when it succeeded.
bool Report(MSIHANDLE install, const std::wstring& folder, DWORD code) {
    const std::string record = ReadFile(folder + kRecordName);
    const std::string outcome = Field(record, "outcome");
    std::string failedStep = Field(record, "failedStep");
    wchar_t text[256];
    swprintf(text, 256, L"setup.exe ended with 0x%08X (%d), outcome %hs, failed step %hs", code,
             static_cast<int>(code), outcome.empty() ? "unknown" : outcome.c_str(),
             failedStep.empty() ? "none" : failedStep.c_str());
    Log(install, text);
    return outcome == "installed" || outcome == "installed-restart-required" ||
           outcome == "removed" || outcome == "removed-restart-required" ||
           (outcome == "nothing-to-do" && code == 0x80000031);  // removed by other means
}

// Whether the agent's service is registered: a removal that finds no agent running (exit
// 5) has nothing to remove when there is none, and the package may go.
bool AgentInstalled() {
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    SC_HANDLE service =
        manager != nullptr ? OpenServiceW(manager, L"ClientManager", SERVICE_QUERY_STATUS) : nullptr;
    const bool installed = service != nullptr || GetLastError() != ERROR_SERVICE_DOES_NOT_EXIST;
    if (service != nullptr) {
        CloseServiceHandle(service);
    }
    if (manager != nullptr) {
        CloseServiceHandle(manager);
    }
    return installed;
}

bool Quotable(const std::wstring& value) { return value.find(L'"') == std::wstring::npos; }

}  // namespace

// CustomActionData: folder, TOKEN, SERVER, LID, SETUPOPTIONS.
extern "C" __declspec(dllexport) UINT __stdcall InstallAgent(MSIHANDLE install) {
    std::vector<std::wstring> fields = Fields(Property(install, L"CustomActionData"));
    fields.resize(5);
    const std::wstring& folder = fields[0];
    if (!Quotable(fields[1]) || !Quotable(fields[2]) || !Quotable(fields[3])) {
        Log(install, L"TOKEN, SERVER and LID cannot hold a double quote");
        return ERROR_INSTALL_FAILURE;
    }
    std::wstring arguments = L"/i -sil 1 -tok \"" + fields[1] + L"\" -svr \"" + fields[2] + L"\"";
    if (!fields[3].empty()) {
        arguments += L" -lid \"" + fields[3] + L"\"";
    }
    if (!fields[4].empty()) {
        arguments += L" " + fields[4];
    }
    const DWORD code = RunSetup(install, folder, arguments);
    return Report(install, folder, code) ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE;
}

// CustomActionData: folder, PASSWORD.
extern "C" __declspec(dllexport) UINT __stdcall RemoveAgent(MSIHANDLE install) {
    std::vector<std::wstring> fields = Fields(Property(install, L"CustomActionData"));
    fields.resize(2);
    std::wstring arguments = L"/u -sil 1";
    if (!fields[1].empty()) {
        const std::string encoded = Base64(Utf8(fields[1]));
        arguments += L" -password " + std::wstring(encoded.begin(), encoded.end());
    }
    const DWORD code = RunSetup(install, fields[0], arguments);
    const bool removed = Report(install, fields[0], code) || (code == 5 && !AgentInstalled());
    return removed ? ERROR_SUCCESS : ERROR_INSTALL_FAILURE;
}

extern "C" __declspec(dllexport) UINT __stdcall AskRestart(MSIHANDLE install) {
    const std::string record = ReadFile(Property(install, L"INSTALLDIR") + kRecordName);
    if (record.find("\"restartRequired\": true") != std::string::npos) {
        Log(install, L"the agent needs a restart to finish");
        MsiSetMode(install, MSIRUNMODE_REBOOTATEND, TRUE);
    }
    return ERROR_SUCCESS;
}
