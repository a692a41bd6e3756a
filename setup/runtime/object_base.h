#pragma once

#include <atomic>
#include <cstdint>
#include <utility>

// Root of every interface shared with the agent's runtime library. The object deletes
// itself when its last reference is released.
class IObjectBase {
public:
    virtual ~IObjectBase() = default;
    virtual std::uint32_t AddRef() = 0;
    virtual std::uint32_t Release() = 0;
};

// Implements the reference count of an interface; counts change atomically because the
// runtime may hold references on threads of its own. A new object starts with one reference.
template <class Interface>
class CObjectBase : public Interface {
public:
    std::uint32_t AddRef() override { return ++references_; }
    std::uint32_t Release() override {
        const std::uint32_t left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }

private:
    std::atomic<std::uint32_t> references_{1};
};

// Owns one reference; releases it on destruction and on reassignment.
template <class T>
class CObjectSmPtr {
public:
    CObjectSmPtr() = default;
    // Takes over a reference the caller owns.
    explicit CObjectSmPtr(T* owned) : object_(owned) {}
    CObjectSmPtr(const CObjectSmPtr& other) : object_(other.object_) {
        if (object_ != nullptr) {
            object_->AddRef();
        }
    }
    CObjectSmPtr(CObjectSmPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    CObjectSmPtr& operator=(CObjectSmPtr other) noexcept {
        std::swap(object_, other.object_);
        return *this;
    }
    ~CObjectSmPtr() { Reset(); }

    void Reset() {
        if (object_ != nullptr) {
            std::exchange(object_, nullptr)->Release();
        }
    }
    // For out parameters: releases what is held and gives the slot to fill.
    T** Receive() {
        Reset();
        return &object_;
    }
    T* Get() const { return object_; }
    T* operator->() const { return object_; }
    explicit operator bool() const { return object_ != nullptr; }

private:
    T* object_ = nullptr;
};
