#include "settings/settings_manager.h"

#include <new>

#include <windows.h>

#include "border/host.h"
#include "border/product_info.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/settings_folder.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kProductInfo = L"productinfo";

/// The product's data folder as its configuration tells it; empty when it tells none.
uint32_t GetDataFolder(IComponentManager* components, std::wstring& folder) {
    TRACE_SCOPE("CSettingsManager::GetDataFolder");
    void* plugin = nullptr;
    const uint32_t error = components->GetPlugin(kProductInfo, &IProductInfo::kIdentifier, &plugin);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Error getting plugin: %s", kProductInfo);
    } else {
        folder = DataFolder(static_cast<IProductInfo*>(plugin));
    }
    // Given back in both cases; hosts count on the pair also after a failed request.
    components->ReleasePlugin(kProductInfo);
    return error;
}

}  // namespace

void* CSettingsManager::QueryInterface(const Identifier* iid) {
    return AnswerFor<IOptimizerSettings>(this, iid);
}

uint32_t CSettingsManager::Init(IServMain* main) {
    return Guarded([&] { return _Init(main); });
}

uint32_t CSettingsManager::_Init(IServMain* main) {
    TRACE_SCOPE("CSettingsManager::Init");
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"IServMain is null!");
        UnInit();
        return ERROR_INVALID_HANDLE;
    }
    IComponentManager* const components = main->GetComponentManager();
    if (components == nullptr) {
        TRACE_LINE(trace::kError, L"Component Manager is null!");
        UnInit();
        return ERROR_INVALID_HANDLE;
    }
    std::wstring dataFolder;
    const uint32_t error = GetDataFolder(components, dataFolder);
    if (error != ERROR_SUCCESS) {
        UnInit();
        return error;
    }
    UnInit();  // a second Init starts over
    const std::wstring folder = SettingsFolder(dataFolder);
    m_profiles = new (std::nothrow) CProfilesSettings(folder);
    if (m_profiles == nullptr) return ERROR_OUTOFMEMORY;
    m_profiles->Init();
    m_tasks = new (std::nothrow) CTasksSettings(folder + L"tasks.json", folder + L"current_tasks.json");
    return m_tasks != nullptr ? ERROR_SUCCESS : ERROR_OUTOFMEMORY;
}

void CSettingsManager::UnInit() {
    // Freed without their destructors, on purpose: the stores have nothing to flush, since each change is
    // written at once.
    if (m_profiles != nullptr) ::operator delete(m_profiles);
    m_profiles = nullptr;
    if (m_tasks != nullptr) ::operator delete(m_tasks);
    m_tasks = nullptr;
}

}  // namespace optimizer
