#pragma once

#include <string>

#include "border/optimizer.h"
#include "settings/inotes_store.h"

namespace optimizer {

/// The persistence of everything that concerns profiles. Any thread; every operation reads or rewrites files
/// of the user who is logged on at that moment, so that a change made by an installer or another user is seen
/// at once. Results say whether it worked; every failure has been traced.
class IProfilesSettings {
public:
    using profile = profiles::profile;

    /// False while nobody is logged on; "Disabled" when nothing is stored.
    virtual bool GetActiveProfile(profile* out) = 0;
    virtual void SetActiveProfile(const profile* active) = 0;
    /// The action list as JSON text: the revert list for "Disabled", the shipped list for the others. Empty
    /// on failure.
    virtual void GetUserActions(const profile* which, std::wstring& out) = 0;
    virtual bool SetUserRevertActions(const std::wstring& text) = 0;
    virtual void GetSystemActions(const profile* which, std::wstring& out) = 0;
    virtual bool SetSystemRevertActions(const std::wstring& text) = 0;
    /// Whether the action's revert values are kept for the machine rather than for the user.
    virtual bool IsSystemAction(const std::wstring& name) = 0;
    /// The user's own settings for a profile as JSON text; "{}" when there are none.
    virtual bool GetConfig(const profile* which, std::wstring& out) = 0;
    virtual bool SetConfig(const profile* which, const std::wstring& text) = 0;
    /// Stores false when it fails or nothing is stored: the module is off until somebody says otherwise.
    virtual bool GetModuleStatus(bool* out) = 0;
    virtual bool SetModuleStatus(const bool* enabled) = 0;
    virtual ~IProfilesSettings() = default;
    /// As SetActiveProfile, and tells: 0, 1317 (ERROR_NO_SUCH_USER) while nobody is logged on, or the error
    /// for which the profile isn't stored.
    [[nodiscard]] virtual uint32_t StoreActiveProfile(const profile* active) = 0;
    /// The shipped action list of a profile, that of "Disabled" too: what is noted plays no part here. Empty
    /// where there is none; false when the definitions can't be read.
    virtual bool GetShippedActions(const profile* which, std::wstring& out) = 0;
    virtual INotesStore& Notes() = 0;
};

}  // namespace optimizer
