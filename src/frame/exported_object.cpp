#include "frame/exported_object.h"

#include <shlwapi.h>

#include "frame/errors.h"

namespace optimizer {

namespace {

Library LoadFrom(const std::wstring& path) {
    Library library(LoadLibraryW(path.c_str()));
    if (!library && !PathIsRelativeW(path.c_str())) {
        library.Reset(LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    }
    return library;
}

uint32_t LastErrorOrNoInterface() {
    const DWORD error = GetLastError();
    return error != ERROR_SUCCESS ? error : kErrorNoInterface;
}

}  // namespace

void* ExportedObjectBase::QueryInterface(const Identifier* iid) {
    return m_object != nullptr ? m_object->QueryInterface(iid) : nullptr;
}

uint32_t ExportedObjectBase::_Load(const std::wstring& path, const wchar_t* name, const Identifier& iid) {
    Release();
    m_name = name;
    const uint32_t error = _Create(path, iid);
    if (error != ERROR_SUCCESS) Release();
    return error;
}

uint32_t ExportedObjectBase::_Create(const std::wstring& path, const Identifier& iid) {
    m_library = LoadFrom(path);
    if (!m_library) return LastErrorOrNoInterface();

    m_create = GetExport<VxCreateObjectFunction>(m_library.Get(), "VxCreateObject");
    if (m_create == nullptr) return LastErrorOrNoInterface();
    m_destroy = GetExport<VxDestroyObjectFunction>(m_library.Get(), "VxDestroyObject");
    if (m_destroy == nullptr) return LastErrorOrNoInterface();

    void* object = nullptr;
    const uint32_t error = m_create(m_name.c_str(), &IVxBaseInterface::kIdentifier, &object);
    if (error != ERROR_SUCCESS) return error;
    m_object = static_cast<IVxBaseInterface*>(object);

    m_interface = QueryInterface(&iid);
    return m_interface != nullptr ? ERROR_SUCCESS : kErrorNoInterface;
}

void ExportedObjectBase::Release() {
    if (m_object != nullptr && m_destroy != nullptr) m_destroy(m_name.c_str(), m_object);
    m_object = nullptr;
    m_interface = nullptr;
    m_destroy = nullptr;
    m_create = nullptr;
    m_library.Reset();
    std::wstring().swap(m_name);  // its memory too: an owner may be freed without a destructor
}

}  // namespace optimizer
