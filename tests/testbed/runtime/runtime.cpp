// The testbed's runtime.dll: a small, real implementation of the runtime interfaces that
// setup.exe uses; what it does is in tests/testbed/README.md.
#include <windows.h>
#include <winhttp.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "setup/runtime/runtime_interfaces.h"

namespace {

std::atomic<int> g_liveObjects{0};

// Every object of the library counts towards GetLockCount while it lives.
template <class Interface>
struct Counted : public CObjectBase<Interface> {
    Counted() { ++g_liveObjects; }
    ~Counted() override { --g_liveObjects; }
};

Status FromWin32(DWORD error) { return static_cast<Status>(HRESULT_FROM_WIN32(error)); }

std::wstring Widen(const char* text) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    return std::wstring(bytes, bytes + strlen(text));
}

std::string Utf8(const std::wstring& wide) {
    std::string text(wide.size() * 3, '\0');  // at most three bytes for each UTF-16 unit
    text.resize(WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                    text.data(), static_cast<int>(text.size()), nullptr, nullptr));
    return text;
}

Status CopyOut(const std::wstring& text, wchar_t* buffer, std::uint32_t capacity) {
    if (buffer == nullptr || text.size() >= capacity) {
        return FromWin32(ERROR_INSUFFICIENT_BUFFER);
    }
    wcscpy_s(buffer, capacity, text.c_str());
    return kStatusOk;
}

// Writes bytes to a file, appended or as its whole content, shared with its readers.
bool Store(const std::wstring& path, const std::string& bytes, bool append) {
    std::ofstream file(std::filesystem::path(path), append ? std::ios::binary | std::ios::app
                                                           : std::ios::binary | std::ios::trunc);
    return static_cast<bool>(file << bytes << std::flush);
}

// What the manager and everything it creates share: the proxy and the default settings,
// given before any request runs, so unlocked.
class CShared final : public Counted<ICommunicationConfiguration> {
public:
    Status EnableProxy(bool on) override { return proxyEnabled = on, kStatusOk; }
    Status SetProxyServer(const wchar_t* text) override { return proxyServer = text, kStatusOk; }
    Status SetProxyPort(std::int32_t port) override { return proxyPort = port, kStatusOk; }
    // Only a named proxy without authentication is used; the rest is accepted and left aside.
    Status SetProxyAutoDetect(bool) override { return kStatusOk; }
    Status SetProxyAuthentication(bool) override { return kStatusOk; }
    Status SetProxyLogin(const wchar_t*) override { return kStatusOk; }
    Status SetProxyPassword(const wchar_t*) override { return kStatusOk; }
    Status SetProxyType(std::int32_t) override { return kStatusOk; }
    Status SetAuthenticationScheme(std::uint32_t) override { return kStatusOk; }

    bool proxyEnabled = false;
    std::wstring proxyServer;
    std::int32_t proxyPort = 0;
    std::map<std::wstring, std::wstring> texts;
    std::map<std::wstring, std::uint32_t> numbers;
};
using SharedPtr = CObjectSmPtr<CShared>;

class CRequest final : public Counted<IRequest> {
public:
    explicit CRequest(const char* url) : url(Widen(url)) {}
    Status SetHeader(const char* name, const char* value) override {
        headers += Widen(name) + L": " + Widen(value) + L"\r\n";
        return kStatusOk;
    }
    std::wstring url, headers;
};

using Internet = std::unique_ptr<void, decltype(&WinHttpCloseHandle)>;

// One WinHTTP exchange, for Send and Download alike.
Status HttpExchange(const CShared& proxy, const wchar_t* verb, const std::wstring& url,
                    const std::wstring& headers, const std::string& body, std::uint32_t& httpStatus,
                    std::string& received) {
    // Lengths without buffers: the parts point into url, the path running on with the query.
    URL_COMPONENTS parts{sizeof(parts)};
    parts.dwHostNameLength = static_cast<DWORD>(-1);
    parts.dwUrlPathLength = static_cast<DWORD>(-1);
    if (!WinHttpCrackUrl(url.c_str(), 0, 0, &parts)) {
        return FromWin32(GetLastError());
    }
    const std::wstring proxyName =
        !proxy.proxyEnabled || proxy.proxyServer.empty() ? L""
        : proxy.proxyServer + (proxy.proxyPort > 0 ? L":" + std::to_wstring(proxy.proxyPort) : L"");
    const Internet session(WinHttpOpen(
        L"BusinessAgentRuntime/1.0",
        proxyName.empty() ? WINHTTP_ACCESS_TYPE_NO_PROXY : WINHTTP_ACCESS_TYPE_NAMED_PROXY,
        proxyName.empty() ? WINHTTP_NO_PROXY_NAME : proxyName.c_str(), WINHTTP_NO_PROXY_BYPASS,
        0), WinHttpCloseHandle);
    const std::wstring host(parts.lpszHostName, parts.dwHostNameLength);
    const Internet connection(session ? WinHttpConnect(session.get(), host.c_str(), parts.nPort, 0)
                                      : nullptr, WinHttpCloseHandle);
    const Internet request(
        connection ? WinHttpOpenRequest(connection.get(), verb, parts.lpszUrlPath, nullptr,
                                        WINHTTP_NO_REFERER, WINHTTP_DEFAULT_ACCEPT_TYPES,
                                        parts.nScheme == INTERNET_SCHEME_HTTPS ? WINHTTP_FLAG_SECURE
                                                                               : 0)
                   : nullptr, WinHttpCloseHandle);
    if (!request) {
        return FromWin32(GetLastError());
    }
    // The caller sees every answer as it is, redirects included.
    DWORD disable = WINHTTP_DISABLE_REDIRECTS;
    WinHttpSetOption(request.get(), WINHTTP_OPTION_DISABLE_FEATURE, &disable, sizeof(disable));
    if (!WinHttpSendRequest(request.get(),
                            headers.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS : headers.c_str(),
                            static_cast<DWORD>(-1L), const_cast<char*>(body.data()),
                            static_cast<DWORD>(body.size()), static_cast<DWORD>(body.size()), 0) ||
        !WinHttpReceiveResponse(request.get(), nullptr)) {
        return FromWin32(GetLastError());
    }
    DWORD code = 0;
    DWORD size = sizeof(code);
    WinHttpQueryHeaders(request.get(), WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                        WINHTTP_HEADER_NAME_BY_INDEX, &code, &size, WINHTTP_NO_HEADER_INDEX);
    httpStatus = code;
    char buffer[8192];
    DWORD read = 0;
    while (WinHttpReadData(request.get(), buffer, sizeof(buffer), &read) && read > 0) {
        received.append(buffer, read);
    }
    return kStatusOk;
}

class CCommunication final : public Counted<ICommunication> {
public:
    explicit CCommunication(SharedPtr shared) : shared_(std::move(shared)) {}

    Status CreateRequest(const char* url, IRequest** request) override {
        *request = new CRequest(url);
        return kStatusOk;
    }
    Status Send(IRequest* request, std::uint32_t method, IPayload* body, IPayload* response,
                std::uint32_t* httpStatus) override {
        static const wchar_t* kVerbs[] = {L"DELETE", L"GET", L"HEAD", L"POST", L"PUT", L"RESET"};
        if (method > 5 || request == nullptr) {
            return FromWin32(ERROR_INVALID_PARAMETER);
        }
        auto* http = static_cast<CRequest*>(request);
        const std::string sent = body != nullptr && body->Size() > 0
            ? std::string(reinterpret_cast<const char*>(body->Data()), body->Size()) : "";
        std::string received;
        std::uint32_t code = 0;
        Status status = HttpExchange(*shared_.Get(), kVerbs[method], http->url, http->headers, sent,
                                     code, received);
        if (httpStatus != nullptr) {
            *httpStatus = code;
        }
        if (response != nullptr) {
            response->Set(received.data(), static_cast<std::uint32_t>(received.size()));
        }
        return status;
    }
    Status GetConfiguration(ICommunicationConfiguration** configuration) override {
        shared_->AddRef();
        *configuration = shared_.Get();
        return kStatusOk;
    }

private:
    SharedPtr shared_;
};

class CConfiguration final : public Counted<IConfigurationPrivate> {
public:
    CConfiguration(IRuntimeHost* host, SharedPtr shared) : host_(host), shared_(std::move(shared)) {
        host_->AddRef();
    }
    ~CConfiguration() override { host_->Release(); }
    Status GetNumber(const wchar_t* key, std::uint32_t* value) override {
        const Status status = host_->GetNumber(key, value);
        const auto found = shared_->numbers.find(key);
        return status != kStatusNotFound || found == shared_->numbers.end()
                   ? status
                   : (*value = found->second, kStatusOk);
    }
    Status SetNumber(const wchar_t* key, std::uint32_t value) override {
        return host_->SetNumber(key, value);
    }
    Status GetText(const wchar_t* key, wchar_t* buffer, std::uint32_t capacity) override {
        const Status status = host_->GetText(key, buffer, capacity);
        const auto found = shared_->texts.find(key);
        return status != kStatusNotFound || found == shared_->texts.end()
                   ? status
                   : CopyOut(found->second, buffer, capacity);
    }
    Status SetText(const wchar_t* key, const wchar_t* value) override {
        return host_->SetText(key, value);
    }

    std::wstring Text(const wchar_t* key) {
        wchar_t buffer[MAX_PATH * 2] = {};
        return Failed(GetText(key, buffer, MAX_PATH * 2)) ? std::wstring() : buffer;
    }

private:
    IRuntimeHost* host_;
    SharedPtr shared_;
};

// Appends "time [LEVEL] [component] line" to the log file in the log folder.
class CLogger final : public Counted<ILogger> {
public:
    explicit CLogger(std::wstring folder) : folder_(std::move(folder)) {}
    Status SetLogFileName(const wchar_t* name) override { return fileName_ = name, kStatusOk; }
    Status SetComponentName(const wchar_t* name) override { return component_ = name, kStatusOk; }
    void Debug(const wchar_t* line) override { Append(L"DEBUG", line); }
    void Info(const wchar_t* line) override { Append(L"INFO", line); }
    void Warning(const wchar_t* line) override { Append(L"WARNING", line); }
    void Error(const wchar_t* line) override { Append(L"ERROR", line); }

private:
    void Append(const wchar_t* level, const wchar_t* line) {
        if (fileName_.empty() || folder_.empty()) {
            return;
        }
        SYSTEMTIME now{};
        GetLocalTime(&now);
        wchar_t stamp[32];
        swprintf(stamp, 32, L"%04u-%02u-%02u %02u:%02u:%02u.%03u", now.wYear, now.wMonth,
                 now.wDay, now.wHour, now.wMinute, now.wSecond, now.wMilliseconds);
        const std::string text = Utf8(std::wstring(stamp) + L" [" + level + L"] [" +
                                      component_ + L"] " + line + L"\r\n");
        static std::mutex fileLock;
        std::lock_guard<std::mutex> lock(fileLock);
        CreateDirectoryW(folder_.c_str(), nullptr);
        Store(folder_ + L"\\" + fileName_, text, true);
    }

    std::wstring folder_;
    std::wstring fileName_;
    std::wstring component_;
};

class CResourceManager final : public Counted<IResourceManager> {
public:
    explicit CResourceManager(SharedPtr shared) : shared_(std::move(shared)) {}

    Status Download(const wchar_t* url, wchar_t* path, std::uint32_t capacity) override {
        const std::wstring address = url;
        std::string received;
        std::uint32_t code = 0;
        const Status status = HttpExchange(*shared_.Get(), L"GET", address, L"", "", code, received);
        if (Failed(status) || code < 200 || code > 299) {
            return Failed(status) ? status : FromWin32(ERROR_FILE_NOT_FOUND);
        }
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        const std::wstring folder =
            std::wstring(temp) + L"runtime-download-" + std::to_wstring(GetTickCount64());
        CreateDirectoryW(folder.c_str(), nullptr);
        const std::wstring file = folder + L"\\" + address.substr(address.find_last_of(L'/') + 1);
        return Store(file, received, false) ? CopyOut(file, path, capacity)
                                            : FromWin32(ERROR_WRITE_FAULT);
    }

private:
    SharedPtr shared_;
};

class CProcess final : public Counted<IProcess> {
public:
    Status Run(const wchar_t* executable, const wchar_t* arguments, std::uint32_t timeoutMs,
               std::uint32_t* exitCode) override {
        std::wstring line = L"\"" + std::wstring(executable) + L"\"";
        if (arguments != nullptr && *arguments != L'\0') {
            line += L" " + std::wstring(arguments);
        }
        STARTUPINFOW startup{sizeof(startup)};
        PROCESS_INFORMATION info{};
        if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                            nullptr, nullptr, &startup, &info)) {
            return FromWin32(GetLastError());
        }
        const DWORD limit = timeoutMs == 0 ? INFINITE : timeoutMs;
        const bool ended = WaitForSingleObject(info.hProcess, limit) == WAIT_OBJECT_0;
        DWORD code = 0;
        GetExitCodeProcess(info.hProcess, &code);
        CloseHandle(info.hThread);
        CloseHandle(info.hProcess);
        if (ended && exitCode != nullptr) {
            *exitCode = code;
        }
        return ended ? kStatusOk : FromWin32(WAIT_TIMEOUT);
    }
};

class CProcessManager final : public Counted<IProcessManager> {
public:
    Status CreateProcessObject(IProcess** process) override {
        *process = new CProcess();
        return kStatusOk;
    }
};

class CRuntime final : public Counted<IRuntime> {
public:
    CRuntime(IRuntimeHost* host, const SharedPtr& shared)
        : configuration_(new CConfiguration(host, shared)), shared_(shared) {}

    Status GetCommunication(ICommunication** communication) override {
        *communication = new CCommunication(shared_);
        return kStatusOk;
    }
    Status CreateLogger(ILogger** logger) override {
        std::wstring folder = configuration_->Text(L"runtime://directory/log");
        if (folder.empty()) {
            // By default the logs lie in "log" beside the data folders.
            const std::wstring database = configuration_->Text(L"runtime://directory/database");
            folder = database.empty() ? database
                                      : database.substr(0, database.find_last_of(L'\\')) + L"\\log";
        }
        *logger = new CLogger(folder);
        return kStatusOk;
    }
    Status GetConfiguration(IConfigurationPrivate** configuration) override {
        configuration_->AddRef();
        *configuration = configuration_.Get();
        return kStatusOk;
    }
    Status GetResourceManager(IResourceManager** resources) override {
        *resources = new CResourceManager(shared_);
        return kStatusOk;
    }
    Status GetProcessManager(IProcessManager** processes) override {
        *processes = new CProcessManager();
        return kStatusOk;
    }

private:
    CObjectSmPtr<CConfiguration> configuration_;
    SharedPtr shared_;
};

class CManagerConfiguration final : public Counted<IRuntimeManagerConfiguration> {
public:
    explicit CManagerConfiguration(SharedPtr shared) : shared_(std::move(shared)) {}

    Status SetText(const wchar_t* key, const wchar_t* value) override {
        shared_->texts[key] = value;
        return kStatusOk;
    }
    Status SetNumber(const wchar_t* key, std::uint32_t value) override {
        shared_->numbers[key] = value;
        return kStatusOk;
    }
    Status GetCommunicationConfiguration(ICommunicationConfiguration** configuration) override {
        shared_->AddRef();
        *configuration = shared_.Get();
        return kStatusOk;
    }

private:
    SharedPtr shared_;
};

class CRuntimeManager final : public Counted<IRuntimeManager> {
public:
    Status GetConfiguration(IRuntimeManagerConfiguration** configuration) override {
        *configuration = new CManagerConfiguration(shared_);
        return kStatusOk;
    }
    Status CreateRuntime(IRuntimeHost* host, IRuntime** runtime) override {
        *runtime = new CRuntime(host, shared_);
        return kStatusOk;
    }

private:
    SharedPtr shared_{new CShared()};
};

}  // namespace

extern "C" __declspec(dllexport) IRuntimeManager* getRuntimeManagerInstance() {
    return new CRuntimeManager();
}

extern "C" __declspec(dllexport) int GetLockCount() { return g_liveObjects.load(); }
