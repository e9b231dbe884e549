#pragma once

#include <string>

#include "border/host.h"
#include "framework/component_manager.h"

namespace host {

/// Loads plug-in lists into the component manager, one at a time. Blocks while plug-ins start and end.
class CPluginLoader final : public IPluginLoader {
public:
    explicit CPluginLoader(CComponentManager& manager) : m_manager(manager) {}
    CPluginLoader(const CPluginLoader&) = delete;
    CPluginLoader& operator=(const CPluginLoader&) = delete;

    void Reserved0() override {}
    void Reserved1() override {}
    void Reserved2() override {}
    void Reserved3() override {}
    void Reserved4() override {}
    void Reserved5() override {}
    void Reserved6() override {}
    void Reserved7() override {}
    void Reserved8() override {}
    void Reserved9() override {}
    /// 0, 87 for a null path, or the errors of CPluginList::Read and CComponentManager::Load. One thread at a
    /// time.
    uint32_t LoadPlugins(const wchar_t* path) override;
    void Reserved11() override {}
    /// As CComponentManager::Unload.
    uint32_t UnloadPlugins() override;

    /// One sentence on why the last LoadPlugins failed; empty when it didn't.
    const wchar_t* LastFailure() const { return m_failure.c_str(); }

private:
    uint32_t _Load(const wchar_t* path);

    CComponentManager& m_manager;
    std::wstring m_failure;
};

}  // namespace host
