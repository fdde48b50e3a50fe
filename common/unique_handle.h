#pragma once
#include <windows.h>
#include <winhttp.h>

#include <utility>

// Owns one platform handle and closes it on every way out. Traits name the handle type,
// its "no handle" value and how to close it.
template <typename Traits>
class UniqueHandle {
public:
    using Handle = typename Traits::Handle;

    UniqueHandle() = default;
    explicit UniqueHandle(Handle handle) : handle_(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        Reset(other.Release());
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { Reset(); }

    Handle Get() const { return handle_; }
    bool Valid() const { return handle_ != Traits::None(); }
    explicit operator bool() const { return Valid(); }

    Handle Release() { return std::exchange(handle_, Traits::None()); }
    void Reset(Handle handle = Traits::None()) {
        if (Valid()) Traits::Close(handle_);
        handle_ = handle;
    }

private:
    Handle handle_ = Traits::None();
};

struct FileHandleTraits {
    using Handle = HANDLE;
    static Handle None() { return INVALID_HANDLE_VALUE; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
using UniqueFile = UniqueHandle<FileHandleTraits>;

// Process, thread and event handles use null, not INVALID_HANDLE_VALUE, for "none".
struct KernelHandleTraits {
    using Handle = HANDLE;
    static Handle None() { return nullptr; }
    static void Close(Handle handle) { CloseHandle(handle); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

// WinHTTP session, connection and request handles. Declare them in that order so that they
// close request first, as WinHTTP expects.
struct InternetHandleTraits {
    using Handle = HINTERNET;
    static Handle None() { return nullptr; }
    static void Close(Handle handle) { WinHttpCloseHandle(handle); }
};
using UniqueInternet = UniqueHandle<InternetHandleTraits>;

// Memory the shell hands out for the caller to free with CoTaskMemFree: display names and
// item lists.
template <typename Pointer>
struct CoTaskMemTraits {
    using Handle = Pointer;
    static Handle None() { return nullptr; }
    static void Close(Handle memory) { CoTaskMemFree(memory); }
};
template <typename Pointer>
using UniqueCoTaskMem = UniqueHandle<CoTaskMemTraits<Pointer>>;

// A COM interface pointer that is released on every way out.
template <typename Interface>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(const ComPtr&) = delete;
    ComPtr& operator=(const ComPtr&) = delete;
    ~ComPtr() { Reset(); }

    Interface* Get() const { return pointer_; }
    Interface* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }

    // For out-parameters of the IID_PPV_ARGS kind.
    void** PutVoid() {
        Reset();
        return reinterpret_cast<void**>(&pointer_);
    }
    Interface** Put() {
        Reset();
        return &pointer_;
    }
    void Reset() {
        if (pointer_) pointer_->Release();
        pointer_ = nullptr;
    }

private:
    Interface* pointer_ = nullptr;
};
