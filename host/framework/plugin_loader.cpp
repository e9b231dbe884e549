#include "framework/plugin_loader.h"

#include <new>

#include "frame/trace.h"
#include "framework/plugin_list.h"

namespace host {

namespace trace = optimizer::trace;

uint32_t CPluginLoader::LoadPlugins(const wchar_t* path) {
    TRACE_SCOPE("CPluginLoader::LoadPlugins");
    m_failure.clear();
    uint32_t error = ERROR_OUTOFMEMORY;
    try {
        m_failure = L"There isn't enough memory to load the plug-ins.";  // while there is
        error = _Load(path);
    } catch (const std::bad_alloc&) {
        // m_failure says it
    }
    if (error == ERROR_SUCCESS) {
        m_failure.clear();
    } else {
        TRACE_LINE(trace::kError, L"%s Error: %u", m_failure.c_str(), error);
    }
    return error;
}

uint32_t CPluginLoader::_Load(const wchar_t* path) {
    if (path == nullptr) {
        m_failure = L"No plug-in list was named.";
        return ERROR_INVALID_PARAMETER;
    }
    std::wstring failure;
    CPluginList list;
    uint32_t error = list.Read(path, failure);
    if (error == ERROR_SUCCESS) error = m_manager.Load(list.Entries(), failure);
    if (error != ERROR_SUCCESS) m_failure.swap(failure);
    return error;
}

uint32_t CPluginLoader::UnloadPlugins() {
    TRACE_SCOPE("CPluginLoader::UnloadPlugins");
    return m_manager.Unload();
}

}  // namespace host
