#pragma once

#include <memory>

#include "bootlauncher/boot_launcher_check_exec.h"
#include "border/host.h"
#include "border/optimizer.h"
#include "border/run_report.h"
#include "border/uninstall.h"
#include "cloud/cloud_apps_client.h"
#include "frame/callback_list.h"
#include "frame/critical_section.h"
#include "frame/deleting_destructor.h"
#include "frame/log_binding.h"
#include "processes/optimized_process_notifier.h"
#include "profile/profile_manager.h"

namespace optimizer {

/// Component "optimizeral": everything that concerns profiles is reached through this one object of the
/// process. Init, Start, Stop and UnInit come once each from the host; the operations may come from any
/// thread meanwhile.
///
/// The plugin lock serialises the profile operations and is taken before the manager's. Subscribers are
/// called outside of it, but for OnProfileChanged, which comes from inside the request that changes the
/// profile.
class COptimizerPlugin final : public WithDeletingDestructor<COptimizerPlugin, IOptimizer>,
                               public IRunReport,
                               public INotesReport,
                               public IUninstall,
                               public IProfileManagerObserver,
                               public IOptimizedProcessesObserver {
public:
    using profile = profiles::profile;

    COptimizerPlugin();
    ~COptimizerPlugin();
    COptimizerPlugin(const COptimizerPlugin&) = delete;
    COptimizerPlugin& operator=(const COptimizerPlugin&) = delete;

    void* QueryInterface(const Identifier* iid) override;
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    uint32_t Start() override;
    uint32_t Stop() override;

    uint32_t StartTask(const int32_t* task) override;
    void CancelTask(const int32_t* task) override;
    uint32_t SetProfile(const profile* wanted) override;
    uint32_t GetProfile(profile* active) override;
    uint32_t SetProfileConfig(const profile* which, vx::String* config) override;
    uint32_t GetProfileConfig(const profile* which, vx::String* config) override;
    uint32_t SetModuleEnable(bool enable) override;
    uint32_t GetModuleEnable(bool* enable) override;
    uint32_t AddEventsObserver(IOptimizerEvents* observer) override;
    uint32_t RemoveEventsObserver(IOptimizerEvents* observer) override;
    uint32_t GetLastRun(vx::String* report) override;
    uint32_t GetNotes(vx::String* report) override;
    void ExpectUninstall() override;

    void OnProfileApplied(const profile* applied) override;
    void OnActionsExecuted(const profile* executed) override;
    void OnModuleStateChanged(bool enabled) override;
    void OnProcessOptimized(const wchar_t* name, uint32_t count) override;

private:
    // The operations of the same names, which let no exception out.
    uint32_t _Init(IServMain* main);
    uint32_t _Start();
    void _End();
    uint32_t _SetProfile(const profile* wanted);
    uint32_t _SetProfileConfig(const profile* which, vx::String* config);
    uint32_t _GetProfileConfig(const profile* which, vx::String* config);
    uint32_t _SetModuleEnable(bool enable);

    trace::LogHolder m_log;  // keeps the log bound for as long as the engine lives
    CallbackList<IOptimizerEvents*> m_subscribers;
    const std::unique_ptr<COptimizedProcessNotifier> m_notifier;
    CCriticalSection m_lock;                    // the plugin lock
    std::unique_ptr<ProfileManager> m_manager;  // from Init to UnInit
    IServMain* m_main = nullptr;
    const std::unique_ptr<CCloudAppsClient> m_cloud;
    std::unique_ptr<CBootLauncherCheckExec> m_bootLauncherCheck;  // from Init to UnInit
    bool m_tracksUsersInit = false;  // the user table and Init of the tracking are this object's to give back
    bool m_tracksUsersStarted = false;  // likewise Start
    bool m_isStarted = false;
};

}  // namespace optimizer
