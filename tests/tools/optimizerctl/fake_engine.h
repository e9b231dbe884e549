// The engine that the command line meets.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <string>

#include <windows.h>

#include "border/optimizer.h"
#include "border/run_report.h"
#include "frame/vx_string.h"

namespace ctl_test {

using optimizer::profiles::profile;

/// Keeps what it is told, and says what it does like the real one: the request first returns, or its events
/// come while it still runs.
class FakeEngine final : public IOptimizer, public IRunReport, public INotesReport {
public:
    profile active = profile::Work;
    bool enabled = true;
    std::map<profile, std::wstring> configs;
    uint32_t error = ERROR_SUCCESS;  // of every request
    /// What it says of its last run: one after the other, the last one from then on. Without any it is an
    /// engine of before.
    std::deque<std::wstring> reports;
    uint32_t reportError = ERROR_SUCCESS;
    std::wstring notes;  // what it says of its notes; with an empty one it doesn't know the question
    /// What the observer hears during SetProfile, and when it registers.
    std::function<void(IOptimizerEvents&)> onSet = [](IOptimizerEvents&) {};
    std::function<void(IOptimizerEvents&)> onRegister = [](IOptimizerEvents&) {};

    uint32_t SetProfile(const profile* wanted) override {
        if (error != ERROR_SUCCESS) return error;
        if (*wanted == active) return ERROR_ALREADY_EXISTS;
        active = *wanted;
        if (m_observer != nullptr) onSet(*m_observer);
        return ERROR_SUCCESS;
    }
    uint32_t GetProfile(profile* out) override {
        *out = active;
        return error;
    }
    uint32_t SetProfileConfig(const profile* which, vx::String* config) override {
        if (error == ERROR_SUCCESS) configs[*which] = config->Text();
        return error;
    }
    uint32_t GetProfileConfig(const profile* which, vx::String* config) override {
        config->Assign(configs.contains(*which) ? configs[*which].c_str() : L"{}");
        return error;
    }
    uint32_t SetModuleEnable(bool enable) override {
        enabled = enable;
        if (m_observer != nullptr) onSet(*m_observer);
        return error;
    }
    uint32_t GetModuleEnable(bool* enable) override {
        *enable = enabled;
        return error;
    }
    uint32_t AddEventsObserver(IOptimizerEvents* observer) override {
        m_observer = observer;
        onRegister(*observer);
        return ERROR_SUCCESS;
    }
    uint32_t RemoveEventsObserver(IOptimizerEvents*) override {
        m_observer = nullptr;
        return ERROR_SUCCESS;
    }
    uint32_t GetLastRun(vx::String* report) override {
        report->Assign(reports.front().c_str());
        if (reports.size() > 1) reports.pop_front();
        return reportError;
    }
    uint32_t GetNotes(vx::String* report) override {
        report->Assign(notes.c_str());
        return ERROR_SUCCESS;
    }
    bool IsHeard() const { return m_observer != nullptr; }

    void* QueryInterface(const Identifier* iid) override {
        if (*iid == INotesReport::kIdentifier && !notes.empty()) return static_cast<INotesReport*>(this);
        const bool isAsked = *iid == IRunReport::kIdentifier && !reports.empty();
        return isAsked ? static_cast<IRunReport*>(this) : nullptr;
    }
    uint32_t Init(IServMain*) override { return ERROR_SUCCESS; }
    void UnInit() override {}
    uint32_t Start() override { return ERROR_SUCCESS; }
    uint32_t Stop() override { return ERROR_SUCCESS; }
    uint32_t StartTask(const int32_t*) override { return ERROR_SUCCESS; }
    void CancelTask(const int32_t*) override {}
    void* DeletingDestructor(uint32_t) override { return nullptr; }

private:
    IOptimizerEvents* m_observer = nullptr;
};

}  // namespace ctl_test
