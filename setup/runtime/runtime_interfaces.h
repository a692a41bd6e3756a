#pragma once

// The interfaces through which setup.exe works with the agent's runtime library
// (runtime.dll). Both sides compile against this header; the slot order is part of the
// contract. Strings are wide and zero-terminated unless named otherwise; out-texts go
// into caller buffers, so that no heap memory crosses the library boundary. Every
// operation that can fail returns a status (negative on failure).

#include <cstdint>

#include "setup/runtime/object_base.h"
#include "sys/status.h"

// A reference-counted byte buffer for request and response bodies.
class IPayload : public IObjectBase {
public:
    virtual Status Set(const void* data, std::uint32_t size) = 0;
    virtual void Clear() = 0;
    virtual const std::uint8_t* Data() const = 0;
    virtual std::uint32_t Size() const = 0;
};

class ILogger : public IObjectBase {
public:
    virtual Status SetLogFileName(const wchar_t* fileName) = 0;
    virtual Status SetComponentName(const wchar_t* component) = 0;
    virtual void Debug(const wchar_t* line) = 0;
    virtual void Info(const wchar_t* line) = 0;
    virtual void Warning(const wchar_t* line) = 0;
    virtual void Error(const wchar_t* line) = 0;
};

// One HTTP request; header names and values are 8-bit text.
class IRequest : public IObjectBase {
public:
    virtual Status SetHeader(const char* name, const char* value) = 0;
};

// How the runtime reaches the backend.
class ICommunicationConfiguration : public IObjectBase {
public:
    virtual Status EnableProxy(bool enabled) = 0;
    virtual Status SetProxyAutoDetect(bool proxyModeThree) = 0;
    virtual Status SetProxyServer(const wchar_t* server) = 0;
    virtual Status SetProxyPort(std::int32_t port) = 0;
    virtual Status SetProxyAuthentication(bool enabled) = 0;
    virtual Status SetProxyLogin(const wchar_t* login) = 0;
    virtual Status SetProxyPassword(const wchar_t* password) = 0;
    virtual Status SetProxyType(std::int32_t type) = 0;
    virtual Status SetAuthenticationScheme(std::uint32_t schemeFlags) = 0;
};

// HTTP method ids of Send.
enum HttpMethod : std::uint32_t {
    kHttpDelete = 0,
    kHttpGet = 1,
    kHttpHead = 2,
    kHttpPost = 3,
    kHttpPut = 4,
    kHttpReset = 5,
};

class ICommunication : public IObjectBase {
public:
    virtual Status CreateRequest(const char* url, IRequest** request) = 0;
    // Sends and waits for the answer; httpStatus receives the HTTP status when one came.
    virtual Status Send(IRequest* request, std::uint32_t method, IPayload* body,
                        IPayload* response, std::uint32_t* httpStatus) = 0;
    virtual Status GetConfiguration(ICommunicationConfiguration** configuration) = 0;
};

// Settings by runtime:// key. A missing setting reads as kStatusNotFound
// (0x80000013, "not found").
class ISettingsStore : public IObjectBase {
public:
    virtual Status GetNumber(const wchar_t* key, std::uint32_t* value) = 0;
    virtual Status SetNumber(const wchar_t* key, std::uint32_t value) = 0;
    virtual Status GetText(const wchar_t* key, wchar_t* buffer, std::uint32_t capacity) = 0;
    virtual Status SetText(const wchar_t* key, const wchar_t* value) = 0;
};

// The runtime's view of its settings: what the host stores, else the defaults the
// manager was given.
class IConfigurationPrivate : public ISettingsStore {};

class IResourceManager : public IObjectBase {
public:
    // Downloads url into a temporary folder of the runtime's choosing; path receives the
    // file's full path.
    virtual Status Download(const wchar_t* url, wchar_t* path, std::uint32_t capacity) = 0;
};

class IProcess : public IObjectBase {
public:
    // Runs the executable with the arguments, waits up to timeoutMs (0: no limit) and
    // gives its exit code.
    virtual Status Run(const wchar_t* executable, const wchar_t* arguments,
                       std::uint32_t timeoutMs, std::uint32_t* exitCode) = 0;
};

class IProcessManager : public IObjectBase {
public:
    virtual Status CreateProcessObject(IProcess** process) = 0;
};

class IRuntime : public IObjectBase {
public:
    virtual Status GetCommunication(ICommunication** communication) = 0;
    virtual Status CreateLogger(ILogger** logger) = 0;
    virtual Status GetConfiguration(IConfigurationPrivate** configuration) = 0;
    virtual Status GetResourceManager(IResourceManager** resources) = 0;
    virtual Status GetProcessManager(IProcessManager** processes) = 0;
};

// The setup program's side: the runtime asks it for its settings, which it keeps in the
// registry.
class IRuntimeHost : public ISettingsStore {};

class IRuntimeManagerConfiguration : public IObjectBase {
public:
    virtual Status SetText(const wchar_t* key, const wchar_t* value) = 0;
    virtual Status SetNumber(const wchar_t* key, std::uint32_t value) = 0;
    virtual Status GetCommunicationConfiguration(ICommunicationConfiguration** configuration) = 0;
};

class IRuntimeManager : public IObjectBase {
public:
    virtual Status GetConfiguration(IRuntimeManagerConfiguration** configuration) = 0;
    virtual Status CreateRuntime(IRuntimeHost* host, IRuntime** runtime) = 0;
};

// The exports of runtime.dll.
using GetRuntimeManagerInstanceFn = IRuntimeManager* (*)();
using GetLockCountFn = int (*)();
