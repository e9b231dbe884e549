#pragma once

#include "border/optimizer_settings.h"
#include "frame/deleting_destructor.h"
#include "settings/profiles_settings.h"
#include "settings/tasks_settings.h"

namespace optimizer {

/// Component "optimizersettings": finds the settings folder and makes the stores in it. The host frees it
/// without a destructor, so that UnInit lets go of everything. The stores guard themselves; Init and UnInit
/// come from one thread.
class CSettingsManager final : public WithDeletingDestructor<CSettingsManager, IOptimizerSettings> {
public:
    ~CSettingsManager() { UnInit(); }

    void* QueryInterface(const Identifier* iid) override;
    /// 0, 6 for a missing host object, or the error of the request for "productinfo".
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    IProfilesSettings* GetProfilesSettings() override { return m_profiles; }
    ITasksSettings* GetTasksSettings() override { return m_tasks; }

private:
    uint32_t _Init(IServMain* main);

    CProfilesSettings* m_profiles = nullptr;
    CTasksSettings* m_tasks = nullptr;
};

}  // namespace optimizer
