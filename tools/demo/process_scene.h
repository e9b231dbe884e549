#pragma once

#include <memory>
#include <string>
#include <vector>

#include <picojson.h>

#include "tools/rig/child_process.h"
#include "tools/rig/installation.h"

namespace demo {

/// The applications of the profile "Game": a program that runs all the time, and one that starts while the
/// profile is in force. What is printed of a program is the priority class that the system reports for it.
class ProcessScene {
public:
    /// Runs a command and shows it with what it prints; throws when it fails.
    using RunShown = void (*)(const std::wstring& commandLine);

    /// What the profile's action "WindowsProcesses" has in the settings.
    static picojson::value Settings();

    /// Puts the program in the list of "Game" and starts it.
    ProcessScene(const rig::Installation& installation, RunShown runShown);

    /// Waits until the programs have the class that they should have, and prints what they have; false when
    /// one of them hasn't. In "Game" a second program starts first.
    bool Follow(const std::string& profile);
    bool AreAsFound() const;
    /// Whether a watching client heard of both; `lines` is what it printed.
    bool WasTold(const std::vector<std::string>& lines) const;

private:
    struct Program {
        std::unique_ptr<rig::ChildProcess> process;
        const wchar_t* remark;
    };

    void _Start(const wchar_t* remark);

    std::vector<Program> m_programs;
    DWORD m_foundClass = 0;  // of the first program, before anything was done
};

}  // namespace demo
