#include "framework/plugin_object.h"

namespace host {

uint32_t CPluginObject::LoadCode(const std::wstring& path) {
    if (m_library) return ERROR_SUCCESS;
    m_library.Reset(LoadLibraryExW(path.c_str(), nullptr, LOAD_WITH_ALTERED_SEARCH_PATH));
    const DWORD error = GetLastError();
    return m_library ? ERROR_SUCCESS : error;
}

uint32_t CPluginObject::Create(const std::wstring& path, const std::wstring& name) {
    return m_object.Load(path, name.c_str());
}

}  // namespace host
