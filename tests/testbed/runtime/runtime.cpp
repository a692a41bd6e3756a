// The testbed's runtime.dll: a small, real implementation of the runtime interfaces that
// setup.exe uses. Settings come from the host (setup.exe keeps them in the registry) and
// fall back to the defaults the manager was given; the logger appends lines to a file;
// communication and downloads use WinHTTP; processes are started with CreateProcessW.
#include <windows.h>
#include <winhttp.h>

#include <atomic>
#include <cstdio>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "setup/runtime/runtime_interfaces.h"

namespace {

std::atomic<int> g_liveObjects{0};

// Every object of the library counts towards GetLockCount while it lives.
template <class Interface>
class Counted : public CObjectBase<Interface> {
public:
    Counted() { ++g_liveObjects; }
    ~Counted() override { --g_liveObjects; }
};

Status FromWin32(DWORD error) { return static_cast<Status>(HRESULT_FROM_WIN32(error)); }

std::wstring Widen(const char* text) {
    std::wstring wide;
    for (; *text != '\0'; ++text) {
        wide.push_back(static_cast<unsigned char>(*text));
    }
    return wide;
}

std::string Utf8(const std::wstring& wide) {
    int length = WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()),
                                     nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<size_t>(length), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), static_cast<int>(wide.size()), text.data(),
                        length, nullptr, nullptr);
    return text;
}

Status CopyOut(const std::wstring& text, wchar_t* buffer, std::uint32_t capacity) {
    if (buffer == nullptr || text.size() >= capacity) {
        return FromWin32(ERROR_INSUFFICIENT_BUFFER);
    }
    wcscpy_s(buffer, capacity, text.c_str());
    return kStatusOk;
}

// Defaults given to the manager, shared by everything it creates.
struct Defaults {
    std::mutex lock;
    std::map<std::wstring, std::wstring> texts;
    std::map<std::wstring, std::uint32_t> numbers;
};

class CCommunicationConfiguration final : public Counted<ICommunicationConfiguration> {
public:
    Status EnableProxy(bool on) override { return Set(proxyEnabled, on); }
    Status SetProxyAutoDetect(bool on) override { return Set(proxyAutoDetect, on); }
    Status SetProxyServer(const wchar_t* text) override { return Set(proxyServer, text); }
    Status SetProxyPort(std::int32_t port) override { return Set(proxyPort, port); }
    Status SetProxyAuthentication(bool on) override { return Set(proxyAuthentication, on); }
    Status SetProxyLogin(const wchar_t* text) override { return Set(proxyLogin, text); }
    Status SetProxyPassword(const wchar_t* text) override { return Set(proxyPassword, text); }
    Status SetProxyType(std::int32_t type) override { return Set(proxyType, type); }
    Status SetAuthenticationScheme(std::uint32_t flags) override { return Set(schemeFlags, flags); }

    bool proxyEnabled = false;
    bool proxyAutoDetect = false;
    std::wstring proxyServer;
    std::int32_t proxyPort = 0;
    bool proxyAuthentication = false;
    std::wstring proxyLogin;
    std::wstring proxyPassword;
    std::int32_t proxyType = 0;
    std::uint32_t schemeFlags = 0;

private:
    template <class Field, class Value>
    static Status Set(Field& field, Value value) {
        field = value;
        return kStatusOk;
    }
};

class CRequest final : public Counted<IRequest> {
public:
    explicit CRequest(const char* url) : url(Widen(url)) {}
    Status SetHeader(const char* name, const char* value) override {
        headers += Widen(name) + L": " + Widen(value) + L"\r\n";
        return kStatusOk;
    }
    std::wstring url;
    std::wstring headers;
};

// One WinHTTP exchange; the response body goes to sink.
template <class Sink>
Status HttpExchange(const CCommunicationConfiguration& proxy, const wchar_t* verb,
                    const std::wstring& url, const std::wstring& headers,
                    const std::string& body, std::uint32_t& httpStatus, Sink&& sink) {
    URL_COMPONENTS parts{};
    parts.dwStructSize = sizeof(parts);
    wchar_t host[256] = {};
    wchar_t path[2048] = {};
    parts.lpszHostName = host;
    parts.dwHostNameLength = 256;
    parts.lpszUrlPath = path;
    parts.dwUrlPathLength = 2048;
    wchar_t extra[2048] = {};
    parts.lpszExtraInfo = extra;
    parts.dwExtraInfoLength = 2048;
    if (!WinHttpCrackUrl(url.c_str(), 0, 0, &parts)) {
        return FromWin32(GetLastError());
    }
    std::wstring proxyName;
    if (proxy.proxyEnabled && !proxy.proxyServer.empty()) {
        proxyName = proxy.proxyServer;
        if (proxy.proxyPort > 0) {
            proxyName += L":" + std::to_wstring(proxy.proxyPort);
        }
    }
    HINTERNET session = WinHttpOpen(
        L"BusinessAgentRuntime/1.0",
        proxyName.empty() ? WINHTTP_ACCESS_TYPE_NO_PROXY : WINHTTP_ACCESS_TYPE_NAMED_PROXY,
        proxyName.empty() ? WINHTTP_NO_PROXY_NAME : proxyName.c_str(), WINHTTP_NO_PROXY_BYPASS,
        0);
    HINTERNET connection =
        session != nullptr ? WinHttpConnect(session, host, parts.nPort, 0) : nullptr;
    const std::wstring object = std::wstring(path) + extra;
    HINTERNET request =
        connection != nullptr
            ? WinHttpOpenRequest(connection, verb, object.c_str(), nullptr, WINHTTP_NO_REFERER,
                                 WINHTTP_DEFAULT_ACCEPT_TYPES,
                                 parts.nScheme == INTERNET_SCHEME_HTTPS ? WINHTTP_FLAG_SECURE : 0)
            : nullptr;
    // The caller sees every answer as it is, redirects included.
    if (request != nullptr) {
        DWORD disable = WINHTTP_DISABLE_REDIRECTS;
        WinHttpSetOption(request, WINHTTP_OPTION_DISABLE_FEATURE, &disable, sizeof(disable));
    }
    Status status = kStatusOk;
    if (request == nullptr ||
        !WinHttpSendRequest(request, headers.empty() ? WINHTTP_NO_ADDITIONAL_HEADERS
                                                     : headers.c_str(),
                            static_cast<DWORD>(-1L), const_cast<char*>(body.data()),
                            static_cast<DWORD>(body.size()), static_cast<DWORD>(body.size()),
                            0) ||
        !WinHttpReceiveResponse(request, nullptr)) {
        status = FromWin32(GetLastError());
    } else {
        DWORD code = 0;
        DWORD size = sizeof(code);
        WinHttpQueryHeaders(request, WINHTTP_QUERY_STATUS_CODE | WINHTTP_QUERY_FLAG_NUMBER,
                            WINHTTP_HEADER_NAME_BY_INDEX, &code, &size, WINHTTP_NO_HEADER_INDEX);
        httpStatus = code;
        char buffer[8192];
        DWORD read = 0;
        while (WinHttpReadData(request, buffer, sizeof(buffer), &read) && read > 0) {
            sink(buffer, read);
        }
    }
    for (HINTERNET handle : {request, connection, session}) {
        if (handle != nullptr) {
            WinHttpCloseHandle(handle);
        }
    }
    return status;
}

class CCommunication final : public Counted<ICommunication> {
public:
    explicit CCommunication(CCommunicationConfiguration* configuration)
        : configuration_(configuration) {
        configuration_->AddRef();
    }
    ~CCommunication() override { configuration_->Release(); }

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
        std::string sent;
        if (body != nullptr && body->Size() > 0) {
            sent.assign(reinterpret_cast<const char*>(body->Data()), body->Size());
        }
        std::string received;
        std::uint32_t code = 0;
        Status status = HttpExchange(*configuration_, kVerbs[method], http->url, http->headers,
                                     sent, code,
                                     [&received](const char* data, DWORD size) {
                                         received.append(data, size);
                                     });
        if (httpStatus != nullptr) {
            *httpStatus = code;
        }
        if (response != nullptr) {
            response->Set(received.data(), static_cast<std::uint32_t>(received.size()));
        }
        return status;
    }
    Status GetConfiguration(ICommunicationConfiguration** configuration) override {
        configuration_->AddRef();
        *configuration = configuration_;
        return kStatusOk;
    }

private:
    CCommunicationConfiguration* configuration_;
};

class CConfiguration final : public Counted<IConfigurationPrivate> {
public:
    CConfiguration(IRuntimeHost* host, std::shared_ptr<Defaults> defaults)
        : host_(host), defaults_(std::move(defaults)) {
        if (host_ != nullptr) {
            host_->AddRef();
        }
    }
    ~CConfiguration() override {
        if (host_ != nullptr) {
            host_->Release();
        }
    }
    Status GetNumber(const wchar_t* key, std::uint32_t* value) override {
        Status status = host_ != nullptr ? host_->GetNumber(key, value) : kStatusNotFound;
        if (status != kStatusNotFound) {
            return status;
        }
        std::lock_guard<std::mutex> lock(defaults_->lock);
        auto found = defaults_->numbers.find(key);
        if (found == defaults_->numbers.end()) {
            return kStatusNotFound;
        }
        *value = found->second;
        return kStatusOk;
    }
    Status SetNumber(const wchar_t* key, std::uint32_t value) override {
        return host_ != nullptr ? host_->SetNumber(key, value) : kStatusNotFound;
    }
    Status GetText(const wchar_t* key, wchar_t* buffer, std::uint32_t capacity) override {
        Status status = host_ != nullptr ? host_->GetText(key, buffer, capacity) : kStatusNotFound;
        if (status != kStatusNotFound) {
            return status;
        }
        std::lock_guard<std::mutex> lock(defaults_->lock);
        auto found = defaults_->texts.find(key);
        return found == defaults_->texts.end() ? kStatusNotFound
                                              : CopyOut(found->second, buffer, capacity);
    }
    Status SetText(const wchar_t* key, const wchar_t* value) override {
        return host_ != nullptr ? host_->SetText(key, value) : kStatusNotFound;
    }

    std::wstring Text(const wchar_t* key) {
        wchar_t buffer[MAX_PATH * 2] = {};
        return Failed(GetText(key, buffer, MAX_PATH * 2)) ? std::wstring() : buffer;
    }

private:
    IRuntimeHost* host_;
    std::shared_ptr<Defaults> defaults_;
};

// Appends "time [LEVEL] [component] line" to the log file in the log folder.
class CLogger final : public Counted<ILogger> {
public:
    explicit CLogger(std::wstring folder) : folder_(std::move(folder)) {}
    Status SetLogFileName(const wchar_t* fileName) override {
        fileName_ = fileName;
        return kStatusOk;
    }
    Status SetComponentName(const wchar_t* component) override {
        component_ = component;
        return kStatusOk;
    }
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
        HANDLE file = CreateFileW((folder_ + L"\\" + fileName_).c_str(), FILE_APPEND_DATA,
                                  FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_ALWAYS,
                                  FILE_ATTRIBUTE_NORMAL, nullptr);
        if (file != INVALID_HANDLE_VALUE) {
            DWORD written = 0;
            WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
            CloseHandle(file);
        }
    }

    std::wstring folder_;
    std::wstring fileName_;
    std::wstring component_;
};

class CResourceManager final : public Counted<IResourceManager> {
public:
    explicit CResourceManager(CCommunicationConfiguration* proxy) : proxy_(proxy) {
        proxy_->AddRef();
    }
    ~CResourceManager() override { proxy_->Release(); }

    Status Download(const wchar_t* url, wchar_t* path, std::uint32_t capacity) override {
        wchar_t temp[MAX_PATH] = {};
        GetTempPathW(MAX_PATH, temp);
        const std::wstring folder =
            std::wstring(temp) + L"runtime-download-" + std::to_wstring(GetTickCount64());
        CreateDirectoryW(folder.c_str(), nullptr);
        std::wstring address = url;
        const std::wstring file = folder + L"\\" + address.substr(address.find_last_of(L'/') + 1);
        HANDLE out = CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                 FILE_ATTRIBUTE_NORMAL, nullptr);
        if (out == INVALID_HANDLE_VALUE) {
            return FromWin32(GetLastError());
        }
        std::uint32_t code = 0;
        Status status = HttpExchange(*proxy_, L"GET", address, L"", "", code,
                                     [out](const char* data, DWORD size) {
                                         DWORD written = 0;
                                         WriteFile(out, data, size, &written, nullptr);
                                     });
        CloseHandle(out);
        if (!Failed(status) && (code < 200 || code > 299)) {
            status = FromWin32(ERROR_FILE_NOT_FOUND);
        }
        if (Failed(status)) {
            DeleteFileW(file.c_str());
            return status;
        }
        return CopyOut(file, path, capacity);
    }

private:
    CCommunicationConfiguration* proxy_;
};

class CProcess final : public Counted<IProcess> {
public:
    Status Run(const wchar_t* executable, const wchar_t* arguments, std::uint32_t timeoutMs,
               std::uint32_t* exitCode) override {
        std::wstring line = L"\"" + std::wstring(executable) + L"\"";
        if (arguments != nullptr && *arguments != L'\0') {
            line += L" " + std::wstring(arguments);
        }
        STARTUPINFOW startup{};
        startup.cb = sizeof(startup);
        PROCESS_INFORMATION info{};
        if (!CreateProcessW(nullptr, line.data(), nullptr, nullptr, FALSE, CREATE_NO_WINDOW,
                            nullptr, nullptr, &startup, &info)) {
            return FromWin32(GetLastError());
        }
        DWORD waited = WaitForSingleObject(info.hProcess, timeoutMs == 0 ? INFINITE : timeoutMs);
        DWORD code = 0;
        GetExitCodeProcess(info.hProcess, &code);
        CloseHandle(info.hThread);
        CloseHandle(info.hProcess);
        if (waited != WAIT_OBJECT_0) {
            return FromWin32(WAIT_TIMEOUT);
        }
        if (exitCode != nullptr) {
            *exitCode = code;
        }
        return kStatusOk;
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
    CRuntime(IRuntimeHost* host, std::shared_ptr<Defaults> defaults,
             CCommunicationConfiguration* proxy)
        : configuration_(new CConfiguration(host, std::move(defaults))), proxy_(proxy) {
        proxy_->AddRef();
    }
    ~CRuntime() override {
        configuration_->Release();
        proxy_->Release();
    }

    Status GetCommunication(ICommunication** communication) override {
        *communication = new CCommunication(proxy_);
        return kStatusOk;
    }
    Status CreateLogger(ILogger** logger) override {
        std::wstring folder = configuration_->Text(L"runtime://directory/log");
        if (folder.empty()) {
            // By default the logs lie in the "log" folder of the agent's data folder.
            std::wstring data = configuration_->Text(L"runtime://directory/data");
            if (data.empty()) {
                data = configuration_->Text(L"runtime://directory/database");
                data = data.substr(0, data.find_last_of(L'\\'));
            }
            folder = data.empty() ? data : data + L"\\log";
        }
        *logger = new CLogger(folder);
        return kStatusOk;
    }
    Status GetConfiguration(IConfigurationPrivate** configuration) override {
        configuration_->AddRef();
        *configuration = configuration_;
        return kStatusOk;
    }
    Status GetResourceManager(IResourceManager** resources) override {
        *resources = new CResourceManager(proxy_);
        return kStatusOk;
    }
    Status GetProcessManager(IProcessManager** processes) override {
        *processes = new CProcessManager();
        return kStatusOk;
    }

private:
    CConfiguration* configuration_;
    CCommunicationConfiguration* proxy_;
};

class CManagerConfiguration final : public Counted<IRuntimeManagerConfiguration> {
public:
    CManagerConfiguration(std::shared_ptr<Defaults> defaults, CCommunicationConfiguration* proxy)
        : defaults_(std::move(defaults)), proxy_(proxy) {
        proxy_->AddRef();
    }
    ~CManagerConfiguration() override { proxy_->Release(); }

    Status SetText(const wchar_t* key, const wchar_t* value) override {
        std::lock_guard<std::mutex> lock(defaults_->lock);
        defaults_->texts[key] = value;
        return kStatusOk;
    }
    Status SetNumber(const wchar_t* key, std::uint32_t value) override {
        std::lock_guard<std::mutex> lock(defaults_->lock);
        defaults_->numbers[key] = value;
        return kStatusOk;
    }
    Status GetCommunicationConfiguration(ICommunicationConfiguration** configuration) override {
        proxy_->AddRef();
        *configuration = proxy_;
        return kStatusOk;
    }

private:
    std::shared_ptr<Defaults> defaults_;
    CCommunicationConfiguration* proxy_;
};

class CRuntimeManager final : public Counted<IRuntimeManager> {
public:
    CRuntimeManager() : proxy_(new CCommunicationConfiguration()) {}
    ~CRuntimeManager() override { proxy_->Release(); }

    Status GetConfiguration(IRuntimeManagerConfiguration** configuration) override {
        *configuration = new CManagerConfiguration(defaults_, proxy_);
        return kStatusOk;
    }
    Status CreateRuntime(IRuntimeHost* host, IRuntime** runtime) override {
        *runtime = new CRuntime(host, defaults_, proxy_);
        return kStatusOk;
    }

private:
    std::shared_ptr<Defaults> defaults_ = std::make_shared<Defaults>();
    CCommunicationConfiguration* proxy_;
};

}  // namespace

extern "C" __declspec(dllexport) IRuntimeManager* getRuntimeManagerInstance() {
    return new CRuntimeManager();
}

extern "C" __declspec(dllexport) int GetLockCount() { return g_liveObjects.load(); }
