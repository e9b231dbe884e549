#include "cloud/cloud_factory.h"

#include <utility>

#include <windows.h>

namespace optimizer {

namespace {

constexpr const wchar_t* kCloudPlugin = L"icloud";

}  // namespace

CCloudFactory& CCloudFactory::GetInstance() {
    static CCloudFactory instance;
    return instance;
}

uint32_t CCloudFactory::Init(IComponentManager* components) {
    Free();
    if (components == nullptr) return ERROR_INVALID_HANDLE;
    void* plugin = nullptr;
    const uint32_t error = components->GetPlugin(kCloudPlugin, &ICloud::kIdentifier, &plugin);
    if (error != ERROR_SUCCESS) return error;
    m_plugin = static_cast<ICloud*>(plugin);
    m_components = components;
    return ERROR_SUCCESS;
}

uint32_t CCloudFactory::Load(const std::wstring& path) {
    Free();
    return m_library.Load(path, kCloudPlugin);
}

void CCloudFactory::Free() {
    m_library.Release();
    if (std::exchange(m_plugin, nullptr) != nullptr) m_components->ReleasePlugin(kCloudPlugin);
    m_components = nullptr;
}

IVelora* CCloudFactory::GetRequest() {
    ICloud* const cloud = m_library.Get() != nullptr ? m_library.Get() : m_plugin;
    return cloud != nullptr ? static_cast<IVelora*>(cloud->GetInterface(kVeloraName)) : nullptr;
}

}  // namespace optimizer
