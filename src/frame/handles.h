// Owners for system handles, one kind each.
#pragma once

#include <utility>

#include <windows.h>

namespace optimizer {

/// Owns one handle and closes it at the end, leaving the thread's last error as it was. Movable, not
/// copyable. `Traits` has the handle's Type, its Invalid() value and Close(Type).
template <class Traits>
class UniqueHandle {
public:
    using Type = typename Traits::Type;

    UniqueHandle() = default;
    explicit UniqueHandle(Type handle) : m_handle(handle) {}
    UniqueHandle(UniqueHandle&& other) noexcept : m_handle(other.Release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) Reset(other.Release());
        return *this;
    }
    ~UniqueHandle() { Reset(); }

    Type Get() const { return m_handle; }
    explicit operator bool() const { return m_handle != Traits::Invalid(); }

    /// Gives the handle up without closing it.
    [[nodiscard]] Type Release() { return std::exchange(m_handle, Traits::Invalid()); }

    void Reset(Type handle = Traits::Invalid()) {
        const Type old = std::exchange(m_handle, handle);
        if (old == Traits::Invalid()) return;
        const DWORD lastError = GetLastError();
        Traits::Close(old);
        SetLastError(lastError);
    }

    /// Address for a call that stores a handle; what was held is closed first.
    [[nodiscard]] Type* Receive() {
        Reset();
        return &m_handle;
    }

private:
    Type m_handle = Traits::Invalid();
};

struct KernelHandleTraits {  // events, threads, processes
    using Type = HANDLE;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type handle) { CloseHandle(handle); }
};
struct FileHandleTraits {  // files and pipes
    using Type = HANDLE;
    static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Type handle) { CloseHandle(handle); }
};
struct RegistryKeyTraits {
    using Type = HKEY;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type key) { RegCloseKey(key); }
};
struct ServiceHandleTraits {
    using Type = SC_HANDLE;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type handle) { CloseServiceHandle(handle); }
};
struct LibraryTraits {
    using Type = HMODULE;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type library) { FreeLibrary(library); }
};
struct LocalMemoryTraits {
    using Type = void*;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type memory) { LocalFree(memory); }
};
template <class Interface>
struct ComPointerTraits {
    using Type = Interface*;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type object) { object->Release(); }
};

using KernelHandle = UniqueHandle<KernelHandleTraits>;
using FileHandle = UniqueHandle<FileHandleTraits>;
using RegistryKey = UniqueHandle<RegistryKeyTraits>;
using ServiceHandle = UniqueHandle<ServiceHandleTraits>;
using Library = UniqueHandle<LibraryTraits>;
using LocalMemory = UniqueHandle<LocalMemoryTraits>;
template <class Interface>
using ComPointer = UniqueHandle<ComPointerTraits<Interface>>;

/// The address of an export as the function that it is; null when the library hasn't got it.
template <class Function>
Function* GetExport(HMODULE library, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

}  // namespace optimizer
