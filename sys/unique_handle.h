#pragma once

#include <windows.h>
#include <wtsapi32.h>

#include <utility>

// Sole owner of one system handle; Traits says what "none" is and how the handle goes:
//   using Handle = ...;
//   static Handle Invalid();
//   static bool IsValid(Handle);   // whether there is anything to close
//   static void Close(Handle);     // called only for valid handles
template <typename Traits>
class UniqueHandle {
public:
    using Handle = typename Traits::Handle;

    UniqueHandle() noexcept = default;
    explicit UniqueHandle(Handle handle) noexcept : handle_(handle) {}
    ~UniqueHandle() { Reset(); }

    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            Reset(other.Release());
        }
        return *this;
    }

    Handle Get() const noexcept { return handle_; }
    bool Valid() const noexcept { return Traits::IsValid(handle_); }
    explicit operator bool() const noexcept { return Valid(); }

    // Gives the handle up without closing it.
    Handle Release() noexcept { return std::exchange(handle_, Traits::Invalid()); }

    // Closes what is held, then takes the new handle.
    void Reset(Handle handle = Traits::Invalid()) noexcept {
        const Handle old = std::exchange(handle_, handle);
        if (Traits::IsValid(old)) {
            Traits::Close(old);
        }
    }

    // For a function that hands a new handle out through a pointer; whatever was held is
    // closed first, so nothing leaks when the holder is filled twice.
    Handle* Put() noexcept {
        Reset();
        return &handle_;
    }

private:
    Handle handle_ = Traits::Invalid();
};

namespace handle_traits {

// Neither null nor INVALID_HANDLE_VALUE is ever a handle of ours to close: the latter is
// also the pseudo handle of the current process. The two kinds differ only in what the
// empty holder answers from Get(), which is what the functions filling them return.
struct Kernel {
    using Handle = HANDLE;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle handle) {
        return handle != nullptr && handle != INVALID_HANDLE_VALUE;
    }
    static void Close(Handle handle) { CloseHandle(handle); }
};

struct KernelFile : Kernel {
    static Handle Invalid() { return INVALID_HANDLE_VALUE; }
};

struct RegistryKey {
    using Handle = HKEY;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle key) { return key != nullptr; }
    // A holder may be given a root such as HKEY_LOCAL_MACHINE as a starting point; the
    // roots belong to the system and stay open.
    static void Close(Handle key) {
        const auto value = reinterpret_cast<ULONG_PTR>(key);
        const auto firstRoot = reinterpret_cast<ULONG_PTR>(HKEY_CLASSES_ROOT);
        const bool predefined = value >= firstRoot && value <= firstRoot + 0x7;
        if (!predefined) {
            RegCloseKey(key);
        }
    }
};

struct Service {
    using Handle = SC_HANDLE;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle handle) { return handle != nullptr; }
    static void Close(Handle handle) { CloseServiceHandle(handle); }
};

struct Module {
    using Handle = HMODULE;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle module) { return module != nullptr; }
    static void Close(Handle module) { FreeLibrary(module); }
};

struct FindSearch {
    using Handle = HANDLE;
    static Handle Invalid() { return INVALID_HANDLE_VALUE; }
    static bool IsValid(Handle search) { return search != INVALID_HANDLE_VALUE; }
    static void Close(Handle search) { FindClose(search); }
};

template <typename Pointer>
struct LocalMemory {
    using Handle = Pointer;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle memory) { return memory != nullptr; }
    static void Close(Handle memory) { LocalFree(memory); }
};

template <typename Pointer>
struct WtsMemory {
    using Handle = Pointer;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle memory) { return memory != nullptr; }
    static void Close(Handle memory) { WTSFreeMemory(memory); }
};

template <typename Object>
struct GdiObject {
    using Handle = Object;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle object) { return object != nullptr; }
    static void Close(Handle object) { DeleteObject(object); }
};

template <typename Interface>
struct ComInterface {
    using Handle = Interface*;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle object) { return object != nullptr; }
    static void Close(Handle object) { object->Release(); }
};

struct MemoryDc {
    using Handle = HDC;
    static Handle Invalid() { return nullptr; }
    static bool IsValid(Handle dc) { return dc != nullptr; }
    static void Close(Handle dc) { DeleteDC(dc); }
};

}  // namespace handle_traits

// Processes, threads, tokens, mutexes and the like: failure is null.
using UniqueKernelHandle = UniqueHandle<handle_traits::Kernel>;
// Files, pipes and snapshots: failure is INVALID_HANDLE_VALUE.
using UniqueFileHandle = UniqueHandle<handle_traits::KernelFile>;
using UniqueRegKey = UniqueHandle<handle_traits::RegistryKey>;
using UniqueServiceHandle = UniqueHandle<handle_traits::Service>;
using UniqueModule = UniqueHandle<handle_traits::Module>;
using UniqueFindHandle = UniqueHandle<handle_traits::FindSearch>;
template <typename Pointer>
using UniqueLocalMemory = UniqueHandle<handle_traits::LocalMemory<Pointer>>;
template <typename Pointer>
using UniqueWtsMemory = UniqueHandle<handle_traits::WtsMemory<Pointer>>;
template <typename Interface>
using UniqueCom = UniqueHandle<handle_traits::ComInterface<Interface>>;
template <typename Object>
using UniqueGdiObject = UniqueHandle<handle_traits::GdiObject<Object>>;
using UniqueBrush = UniqueGdiObject<HBRUSH>;
using UniqueFont = UniqueGdiObject<HFONT>;
using UniqueBitmap = UniqueGdiObject<HBITMAP>;
using UniqueMemoryDc = UniqueHandle<handle_traits::MemoryDc>;

// A window's device context from GetDC, which goes back to that same window. For the
// screen the window is null.
class WindowDc {
public:
    explicit WindowDc(HWND window) noexcept : window_(window), dc_(GetDC(window)) {}
    ~WindowDc() {
        if (dc_ != nullptr) {
            ReleaseDC(window_, dc_);
        }
    }
    WindowDc(const WindowDc&) = delete;
    WindowDc& operator=(const WindowDc&) = delete;

    HDC Get() const noexcept { return dc_; }
    explicit operator bool() const noexcept { return dc_ != nullptr; }

private:
    HWND window_;
    HDC dc_;
};
