#pragma once

#include <string>

#include "border/plugin.h"
#include "frame/handles.h"

namespace optimizer {

/// Loads a library and holds one object that its VxCreateObject made. One thread at a time.
class ExportedObjectBase {
public:
    ExportedObjectBase() = default;
    ExportedObjectBase(const ExportedObjectBase&) = delete;
    ExportedObjectBase& operator=(const ExportedObjectBase&) = delete;

    /// The interface query of the held object; null when nothing is held.
    virtual void* QueryInterface(const Identifier* iid);

    /// Ends the object, then frees the library.
    void Release();

protected:
    ~ExportedObjectBase() { Release(); }

    uint32_t _Load(const std::wstring& path, const wchar_t* name, const Identifier& iid);
    void* _Interface() const { return m_interface; }

private:
    uint32_t _Create(const std::wstring& path, const Identifier& iid);

    Library m_library;
    IVxBaseInterface* m_object = nullptr;
    void* m_interface = nullptr;
    VxDestroyObjectFunction* m_destroy = nullptr;
    VxCreateObjectFunction* m_create = nullptr;
    std::wstring m_name;
};

template <class T>
class ExportedObject final : public ExportedObjectBase {
public:
    /// Lets go of what is held and creates `name` from the library at `path`. 0, the library's error, a
    /// system error, or 632 (ERROR_NOINTERFACE) when the object lacks the interface; nothing is held after an
    /// error.
    [[nodiscard]] uint32_t Load(const std::wstring& path, const wchar_t* name,
                                const Identifier& iid = T::kIdentifier) {
        return _Load(path, name, iid);
    }

    T* Get() const { return static_cast<T*>(_Interface()); }
};

}  // namespace optimizer
