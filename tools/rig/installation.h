#pragma once

#include <string>

#include "tools/rig/temporary_folder.h"

namespace rig {

/// The host as a person would install it, in a folder of its own, with settings of the test's making. The
/// files come from the build's program folder.
class Installation {
public:
    explicit Installation(const std::string& profiles);
    /// Ends the session's agent: a service that ran from here has started one.
    ~Installation();
    Installation(const Installation&) = delete;
    Installation& operator=(const Installation&) = delete;

    /// Puts the simulated power library, which lies beside the test program, beside the host.
    void UseSimulatedPower() const;
    /// Likewise for the simulated update agent, whose library stands in the system's class until the end.
    void UseSimulatedUpdateAgent();
    /// Runs an agent in this session until the end. False when it can't be started.
    [[nodiscard]] bool StartAgent() const;

    std::wstring File(const std::wstring& name) const { return m_folder.File(name); }
    std::wstring SettingsFile(const std::wstring& name) const {
        return m_folder.File(L"settings\\optimizer\\" + name);
    }
    /// Command lines of the host and of the command line tool with the given arguments.
    std::wstring Host(const std::wstring& arguments) const;
    std::wstring Control(const std::wstring& arguments) const;
    std::wstring Agent(const std::wstring& arguments) const;
    /// The machine's revert list as it stands on disk.
    std::string SystemRevertList() const {
        return ReadFileText(SettingsFile(L"system_restore_profile.json"));
    }

private:
    TemporaryFolder m_folder;
    std::wstring m_updateAgent;  // the library that the class named before
};

}  // namespace rig
