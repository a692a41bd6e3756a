#include "tests/support/agent_machine.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>

#include "sys/file_sys.h"
#include "sys/service_sys.h"
#include "tests/support/test_support.h"

namespace agent_machine {

namespace {

void AddTree(const std::wstring& root, bool foldersToo, MachineState& state) {
    std::error_code error;
    for (auto it = std::filesystem::recursive_directory_iterator(root, error);
         it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
        if (it->is_directory() && it->path().filename() == L"log") {
            it.disable_recursion_pending();
        } else if (!it->is_directory()) {
            const std::string bytes = test_support::ReadFileBytes(it->path().wstring());
            state[it->path().wstring()] = std::to_wstring(bytes.size()) + L" bytes, hash " +
                                          std::to_wstring(std::hash<std::string>{}(bytes));
        } else if (foldersToo) {
            state[it->path().wstring()] = L"<folder>";
        }
    }
}

void AddKeyTree(const std::wstring& root, MachineState& state) {
    HKEY key = nullptr;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, root.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) {
        return;
    }
    state[root] = L"<key>";
    wchar_t name[256];
    BYTE data[4096];
    for (DWORD index = 0, length = 256, size = sizeof(data), type = 0;
         RegEnumValueW(key, index, name, &length, nullptr, &type, data, &size) == ERROR_SUCCESS;
         ++index, length = 256, size = sizeof(data)) {
        state[root + L"\\" + name] = std::to_wstring(type) + L":" +
                                      std::wstring(reinterpret_cast<wchar_t*>(data), size / 2);
    }
    for (DWORD index = 0, length = 256; RegEnumKeyExW(key, index, name, &length, nullptr, nullptr,
                                                      nullptr, nullptr) == ERROR_SUCCESS;
         ++index, length = 256) {
        AddKeyTree(root + L"\\" + name, state);
    }
    RegCloseKey(key);
}

}  // namespace

MachineState TakeMachineState() {
    MachineState state;
    // A failed first installation keeps the data folder: its log tells why.
    for (const wchar_t* root : {L"C:\\Program Files", L"C:\\ProgramData"}) {
        for (const std::wstring& entry : file_sys::ListFolder(root)) {
            if (entry != L"C:\\ProgramData\\ZELKO Software") {
                state[entry] = L"<entry>";
            }
        }
    }
    AddTree(kCompanyProgramFolder, true, state);
    AddTree(L"C:\\ProgramData\\ZELKO Software", false, state);
    AddKeyTree(kUninstallKey, state);
    AddKeyTree(L"SOFTWARE\\ZELKO Software", state);
    for (const std::wstring& source : test_support::PendingRenameSources()) {
        state[L"pending rename " + source] = L"";
    }
    const std::wstring image = service_sys::GetImagePath(L"ClientManager");
    if (!image.empty()) {
        WaitForAgentState(SERVICE_RUNNING);
        std::wstring displayName, description;
        service_sys::GetServiceDisplayNameW(L"ClientManager", displayName);
        service_sys::GetServiceDescription(L"ClientManager", description);
        service_sys::ServiceType type{};
        service_sys::GetServiceType(L"ClientManager", type);
        service_sys::ServiceStartMode mode{};
        service_sys::GetStartMode(L"ClientManager", mode);
        state[L"service"] = image + L"|" + displayName + L"|" + description + L"|" +
                            std::to_wstring(type) + L"|" + std::to_wstring(mode) + L"|" +
                            std::to_wstring(service_sys::GetServiceState(L"ClientManager"));
    }
    return state;
}

std::wstring BackendFolder() {
    std::wstring folder = L"Z:" HOLLIN_BACKEND_FOLDER;
    std::replace(folder.begin(), folder.end(), L'/', L'\\');
    return folder;
}

std::string BackendPort() { return test_support::ReadFileBytes(BackendFolder() + L"\\backend.port"); }

std::wstring PackageSetup() { return test_support::BinFolder() + L"\\..\\package\\setup.exe"; }

void CopyPackageWith(const std::wstring& folder, const std::wstring& builtSetup, bool withAgent) {
    for (const wchar_t* file : {L"runtime.dll", L"sqlite3.dll", L"agentsvc.exe"}) {
        if (withAgent || std::wstring(file) != L"agentsvc.exe") {
            test_support::CopyBuiltProgram(std::wstring(L"..\\package\\") + file, folder, file);
        }
    }
    test_support::CopyBuiltProgram(builtSetup, folder, L"setup.exe");
}

MisbehavingAgentRun::MisbehavingAgentRun(const wchar_t* marker, const std::string& content)
    : package_(test_support::BinFolder() + L"\\misbehaving-agent-run"),
      marker_(kProgramFolder + L"\\" + marker) {
    std::filesystem::create_directories(package_);
    CopyPackageWith(package_, L"fault_install.exe");
    std::ofstream(std::filesystem::path(marker_), std::ios::binary) << content;
    SetEnvironmentVariableW(L"HOLLIN_PAUSES_FILE", (package_ + L"\\pauses.txt").c_str());
}

MisbehavingAgentRun::~MisbehavingAgentRun() {
    SetEnvironmentVariableW(L"HOLLIN_PAUSES_FILE", nullptr);
    DeleteFileW(marker_.c_str());
    std::error_code ignored;
    std::filesystem::remove_all(package_, ignored);
}

std::wstring MisbehavingAgentRun::Setup() const { return L"\"" + package_ + L"\\setup.exe\""; }

int MisbehavingAgentRun::Pauses() const {
    return std::atoi(test_support::ReadFileBytes(package_ + L"\\pauses.txt").c_str());
}

void SetNetFrameworkInstalled() {
    const DWORD release = 528040;
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\NET Framework Setup\\NDP\\v4\\Full",
                    L"Release", REG_DWORD, &release, sizeof(release));
}

bool WaitForAgentState(DWORD state, const wchar_t* service) {
    for (int pass = 0; pass < 100; ++pass) {
        if (service_sys::GetServiceState(service) == state) {
            return true;
        }
        Sleep(100);
    }
    return false;
}

void CleanMachine() {
    // Waiting for a service that is not there would wait out the whole limit.
    if (service_sys::GetServiceState(L"ClientManager") != service_sys::kStateUnknown) {
        service_sys::StopService(L"ClientManager");
        WaitForAgentState(SERVICE_STOPPED);
    }
    service_sys::DeleteServiceByName(L"ClientManager");
    std::error_code ignored;
    std::filesystem::remove_all(kCompanyProgramFolder, ignored);
    std::filesystem::remove_all(L"C:\\ProgramData\\ZELKO Software", ignored);
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\ZELKO Software");
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kUninstallKey.c_str());
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kSessionManager.c_str(), L"PendingFileRenameOperations");
}

std::string RecordSummary(const std::wstring& path, const std::string& secret) {
    const std::string text = test_support::ReadFileBytes(path);
    DeleteFileW(path.c_str());
    if (!secret.empty()) {
        EXPECT_EQ(text.find(secret), std::string::npos) << "the record holds a secret";
    }
    Json::Value record;
    std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    if (text.empty() || !reader->parse(text.data(), text.data() + text.size(), &record, nullptr)) {
        return text;
    }
    return record["outcome"].asString() + " " + record["status"].asString() + " " +
           (record["failedStep"].isNull() ? "-" : record["failedStep"].asString());
}

}  // namespace agent_machine
