#include "profile/run_report.h"

#include <algorithm>
#include <utility>

#include <picojson.h>

#include "frame/text.h"
#include "settings/profile_names.h"

namespace optimizer {

void RunReport::Begin(profile wanted) {
    const CriticalSectionGuard guard(m_lock);
    m_profile = wanted;
    m_begun = true;
    m_running = true;
    m_stopped = false;
    m_problems.clear();
}

void RunReport::Add(RunProblem problem) {
    const CriticalSectionGuard guard(m_lock);
    m_problems.push_back(std::move(problem));
}

void RunReport::Forget(const std::wstring& action, const std::wstring& notes) {
    const CriticalSectionGuard guard(m_lock);
    std::erase_if(m_problems, [&](const RunProblem& problem) {
        return problem.action == action && problem.notes == notes;
    });
}

void RunReport::SetStopped() {
    const CriticalSectionGuard guard(m_lock);
    m_stopped = true;
}

void RunReport::End() {
    const CriticalSectionGuard guard(m_lock);
    m_running = false;
}

bool RunReport::IsRunning() const {
    const CriticalSectionGuard guard(m_lock);
    return m_running;
}

bool RunReport::WasStopped() const {
    const CriticalSectionGuard guard(m_lock);
    return m_stopped;
}

bool RunReport::IsSettled(profile wanted) const {
    const CriticalSectionGuard guard(m_lock);
    return m_begun && !m_running && !m_stopped && m_problems.empty() && m_profile == wanted;
}

std::string RunReport::ToJson() const {
    const CriticalSectionGuard guard(m_lock);
    picojson::array problems;
    for (const RunProblem& problem : m_problems) {
        problems.emplace_back(picojson::object{
            {"step", picojson::value(problem.step)},
            {"action", picojson::value(Narrow(problem.action))},
            {"notes", picojson::value(Narrow(problem.notes))},
            {"code", picojson::value(static_cast<double>(problem.code))},
        });
    }
    const picojson::object report{
        {"profile", picojson::value(ProfileName(m_profile))},
        {"running", picojson::value(m_running)},
        {"stopped", picojson::value(m_stopped)},
        {"problems", picojson::value(problems)},
    };
    return picojson::value(report).serialize();
}

}  // namespace optimizer
