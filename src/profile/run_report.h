#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "border/optimizer.h"
#include "frame/critical_section.h"

namespace optimizer {

/// One thing that a run didn't get done.
struct RunProblem {
    const char* step;     // as the report names it; a constant
    std::wstring action;  // empty for what concerns a whole list of notes
    std::wstring notes;   // whose notes: "system" or a user's key; empty where that says nothing
    uint32_t code;
};

/// The step of a choice that is carried out although it couldn't be stored.
inline constexpr const char* kChoiceStep = "choice";

/// What became of the last run, for who asks. Any thread.
class RunReport {
public:
    using profile = profiles::profile;

    /// A run was asked for.
    void Begin(profile wanted);
    void Add(RunProblem problem);
    /// What a later step of the same run does once more.
    void Forget(const std::wstring& action, const std::wstring& notes);
    void SetStopped();
    void End();
    /// Has the run that goes on do what it didn't get done once more, for what is there by now. False when
    /// none goes on.
    bool AskAgain();
    /// Ends the run; false when it was asked for again and is to be gone through once more.
    bool EndUnlessAskedAgain();

    bool IsRunning() const;
    /// Whether the last run ended without what an agent does, since none was there.
    bool LacksAgent() const;
    bool WasStopped() const;
    /// Whether the last run was for that profile, ended, and left nothing to be done.
    bool IsSettled(profile wanted) const;
    /// {"profile": name, "running": whether it hasn't ended, "stopped": whether it was cut short,
    /// "problems": [{"step", "action", "notes", "code"}]}
    std::string ToJson() const;

private:
    mutable CCriticalSection m_lock;
    profile m_profile GUARDED_BY(m_lock) = profile::Disabled;
    bool m_begun GUARDED_BY(m_lock) = false;
    bool m_running GUARDED_BY(m_lock) = false;
    bool m_stopped GUARDED_BY(m_lock) = false;
    bool m_askedAgain GUARDED_BY(m_lock) = false;
    int m_repeats GUARDED_BY(m_lock) = 0;
    std::vector<RunProblem> m_problems GUARDED_BY(m_lock);
};

}  // namespace optimizer
