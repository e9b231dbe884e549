#include "profile/run_report.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include <windows.h>

#include <picojson.h>

#include "frame/text.h"
#include "settings/profile_names.h"

namespace optimizer {

namespace {

constexpr int kMostRepeats = 3;
constexpr const wchar_t* kAgentsAction = L"VisualFX";  // the one that needs an agent's answer

}  // namespace

void RunReport::Begin(profile wanted) {
    const CriticalSectionGuard guard(m_lock);
    m_profile = wanted;
    m_begun = true;
    m_running = true;
    m_stopped = false;
    m_askedAgain = false;
    m_repeats = 0;
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

bool RunReport::AskAgain() {
    const CriticalSectionGuard guard(m_lock);
    m_askedAgain = m_running;
    return m_running;
}

bool RunReport::EndUnlessAskedAgain() {
    const CriticalSectionGuard guard(m_lock);
    // A choice that couldn't be stored is no step of the run.
    const auto isOfRun = [](const RunProblem& problem) {
        return std::string_view(problem.step) != kChoiceStep;
    };
    // Bounded, so that nobody who goes on asking keeps the end from being told.
    m_running = std::exchange(m_askedAgain, false) && !m_stopped && m_repeats < kMostRepeats &&
                std::erase_if(m_problems, isOfRun) != 0;
    if (m_running) ++m_repeats;
    return !m_running;
}

bool RunReport::LacksAgent() const {
    const CriticalSectionGuard guard(m_lock);
    return !m_running && std::any_of(m_problems.begin(), m_problems.end(), [](const RunProblem& problem) {
        return problem.action == kAgentsAction &&
               (problem.code == ERROR_NOT_FOUND || problem.code == ERROR_TIMEOUT);
    });
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
