#pragma once

#include <memory>
#include <new>
#include <string>
#include <utility>

#include "border/plugin.h"
#include "frame/critical_section.h"

namespace optimizer {

/// Yields a process-wide object by a count of references.
class IObjectConstructor {
public:
    virtual IVxBaseInterface* Create() = 0;
    virtual void Release() = 0;
    virtual ~IObjectConstructor() = default;
};

/// The process-wide table of constructors, in which declarations enter themselves. Nothing in this module
/// looks anything up in it.
void RegisterConstructor(IObjectConstructor* constructor);
void UnregisterConstructor(IObjectConstructor* constructor);
bool IsConstructorRegistered(const IObjectConstructor* constructor);

/// Declared as a static, it makes `T` known to the process for as long as the library is loaded. Any thread.
template <class T>
class ExportedSingletonDeclaration final : public IObjectConstructor {
public:
    explicit ExportedSingletonDeclaration(const wchar_t* name) : m_name(name) { RegisterConstructor(this); }
    ~ExportedSingletonDeclaration() override {
        UnregisterConstructor(this);
        _Destroy();
    }
    ExportedSingletonDeclaration(const ExportedSingletonDeclaration&) = delete;
    ExportedSingletonDeclaration& operator=(const ExportedSingletonDeclaration&) = delete;

    /// Null when the memory is short; every other answer must be balanced by a Release.
    IVxBaseInterface* Create() override {
        CriticalSectionGuard guard(m_lock);
        if (m_object == nullptr) m_object = new (std::nothrow) T;
        if (m_object == nullptr) return nullptr;
        ++m_count;
        return static_cast<IVxBaseInterface*>(m_object->QueryInterface(&IVxBaseInterface::kIdentifier));
    }

    void Release() override {
        CriticalSectionGuard guard(m_lock);
        if (m_count > 0 && --m_count == 0) _Destroy();
    }

    const std::wstring& Name() const { return m_name; }

private:
    void _Destroy() REQUIRES(m_lock) {
        if (T* const object = std::exchange(m_object, nullptr)) object->DeletingDestructor(1);
    }

    std::wstring m_name;
    T* m_object GUARDED_BY(m_lock) = nullptr;
    int32_t m_count GUARDED_BY(m_lock) = 0;
    CCriticalSection m_lock;
};

}  // namespace optimizer
