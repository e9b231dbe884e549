// The engine as its clients see it, and the events that they hear.
#pragma once

#include "border/plugin.h"
#include "border/string.h"

namespace optimizer::profiles {

enum class profile : uint32_t {
    Disabled = 0,  // no profile: what the actions changed is put back
    Work = 1,
    Game = 2,
    Movie = 3,
    Battery = 4,
};

/// The profiles' names, by value.
inline constexpr const wchar_t* kNames[] = {L"Disabled", L"Work", L"Game", L"Movie", L"Battery"};
inline constexpr uint32_t kCount = 5;

}  // namespace optimizer::profiles

namespace optimizer {

/// The names that a profile may hold actions under.
inline constexpr const wchar_t* kActionNames[] = {
    L"WindowsServices", L"PostponeWindowsUpdate", L"BlockWinNotification",
    L"VisualFX",        L"PowerPlanAction",       L"UsbDevices",
    L"Bluetooth",       L"HibernateOnBattery",    L"HibernateOnCable",
    L"DisableBalloon",  L"WindowsProcesses",
};

}  // namespace optimizer

/// Called from the thread of the request, the logon or the profile change; OnProfileChanged and, at a start
/// or a logon, OnOptimizerModuleEnableChanged with the engine's locks held. An observer must therefore not
/// call the engine from inside a notification, nor wait for a thread that does: it posts the work. Nor may it
/// register or unregister there. `user` is the interactive user as "DOMAIN\name", empty when nobody is logged
/// on. Pointers are valid during the call only.
struct IOptimizerEvents {
    using profile = optimizer::profiles::profile;

    virtual void OnTaskFinished(const wchar_t* user, const uint32_t* task, uint32_t status) = 0;  // 0
    virtual void OnProfileChanged(const wchar_t* user, const profile* changed) = 0;               // 1
    virtual void OnActionsExecuted(const wchar_t* user, const profile* executed) = 0;             // 2
    virtual void OnProfileConfigChanged(const wchar_t* user, const profile* changed) = 0;         // 3
    virtual void OnOptimizerModuleEnableChanged(const wchar_t* user, bool enabled) = 0;           // 4
    virtual void OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) = 0;         // 5
};

/// Component "optimizeral". Results are Windows error codes, 0 for success. Any thread may call; SetProfile
/// blocks while a running change gives up, not for the new one.
struct IOptimizer : IServPlugin {
    using profile = optimizer::profiles::profile;

    static constexpr Identifier kIdentifier = {
        0xa3842931, 0xf565, 0x97d7, {0x72, 0x40, 0xfd, 0xe0, 0x5b, 0x49, 0x14, 0x38}};

    virtual uint32_t StartTask(const int32_t* task) = 0;  // 5
    virtual void CancelTask(const int32_t* task) = 0;     // 6
    /// 183 when `wanted` is the active profile. The actions run after the return.
    virtual uint32_t SetProfile(const profile* wanted) = 0;  // 7
    virtual uint32_t GetProfile(profile* active) = 0;        // 8
    /// `config` is a JSON object of action names, each an object with the boolean "active".
    virtual uint32_t SetProfileConfig(const profile* which, vx::String* config) = 0;  // 9
    virtual uint32_t GetProfileConfig(const profile* which, vx::String* config) = 0;  // 10
    virtual uint32_t SetModuleEnable(bool enable) = 0;                                // 11
    virtual uint32_t GetModuleEnable(bool* enable) = 0;                               // 12
    virtual uint32_t AddEventsObserver(IOptimizerEvents* observer) = 0;               // 13
    virtual uint32_t RemoveEventsObserver(IOptimizerEvents* observer) = 0;            // 14
    virtual void* DeletingDestructor(uint32_t flags) = 0;                             // 15
};
