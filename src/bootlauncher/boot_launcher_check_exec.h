#pragma once

#include "profile/user_logon.h"

namespace optimizer {

/// Runs "BootLauncher.exe" for the user who has just logged off. COptimizerPlugin owns it and keeps it among
/// the observers of the session tracker, which calls it on its serial execution.
class CBootLauncherCheckExec final : public IUserLogonObserver {
public:
    /// Does nothing: the check is for those who leave.
    void OnLogon(uint32_t time, const wchar_t* user) override;
    void OnLogoff(uint32_t time, const wchar_t* user) override;

    /// Returns when the program has been started; nobody waits for its end.
    void Run();
};

}  // namespace optimizer
