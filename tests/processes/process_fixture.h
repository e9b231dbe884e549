#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "border/optimizer_process_provider.h"
#include "frame/vx_string.h"
#include "processes/optimized_process_notifier.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_plugin.h"
#include "tests/support/fake_process_provider.h"
#include "tests/support/simulated_log.h"

namespace test_support {

/// The processes of a machine, by process id. Takes the place of the system's functions in this program.
struct Machine {
    std::map<uint32_t, std::wstring> names;
    std::map<void*, uint32_t> handles;
    std::string sets;  // what was set, such as "7+ 7- " for pid 7 raised and put back
};
extern Machine* g_machine;

/// Knows which names each list includes, and how often it was asked.
struct FakeLists final : FakePlugin<IOptimizerProcessDP> {
    void Reserved5() override {}
    void Reserved6() override {}
    void Reserved7() override {}
    void Reserved8() override {}
    uint32_t IsIncluded(const ProcessListKind* which, const vx::String* name, const vx::String*,
                        bool* result) override {
        ++questions;
        onQuestion();
        *result = included[*which].contains(name->Text());
        return error;
    }
    void Reserved10() override {}
    uint32_t RegisterDetailsEvents(IOptimizerProcessDPDetailsEvents* o) override { return details = o, 0; }
    uint32_t RegisterListEvents(IOptimizerProcessDPEvents* o) override { return list = o, 0; }
    uint32_t UnregisterDetailsEvents(IOptimizerProcessDPDetailsEvents*) override {
        return details = nullptr, 0;
    }
    uint32_t UnregisterListEvents(IOptimizerProcessDPEvents*) override { return list = nullptr, 0; }

    std::map<ProcessListKind, std::set<std::wstring>> included;
    int questions = 0;
    uint32_t error = 0;
    std::function<void()> onQuestion = [] {};
    IOptimizerProcessDPDetailsEvents* details = nullptr;
    IOptimizerProcessDPEvents* list = nullptr;
};

struct FakeEngine final : FakePlugin<IOptimizer> {
    uint32_t StartTask(const int32_t*) override { return 0; }
    void CancelTask(const int32_t*) override {}
    uint32_t SetProfile(const profile*) override { return 0; }
    uint32_t GetProfile(profile* out) override { return *out = active, error; }
    uint32_t SetProfileConfig(const profile*, vx::String*) override { return 0; }
    uint32_t GetProfileConfig(const profile*, vx::String*) override { return 0; }
    uint32_t SetModuleEnable(bool) override { return 0; }
    uint32_t GetModuleEnable(bool*) override { return 0; }
    uint32_t AddEventsObserver(IOptimizerEvents* o) override { return observer = o, 0; }
    uint32_t RemoveEventsObserver(IOptimizerEvents*) override { return observer = nullptr, 0; }
    void* DeletingDestructor(uint32_t) override { return nullptr; }

    void Change(profile next) const { observer->OnProfileChanged(L"", &next); }

    profile active = profile::Disabled;
    uint32_t error = 0;
    IOptimizerEvents* observer = nullptr;
};

/// A host with the three plug-ins, a machine with four processes, and the news that the module tells.
class ProcessFixture : public testing::Test, public optimizer::IOptimizedProcessesObserver {
protected:
    using profile = optimizer::profiles::profile;

    ProcessFixture();
    ~ProcessFixture() override;
    void OnProcessOptimized(const wchar_t* name, uint32_t count) override {
        m_news += name + std::wstring(L"=") + std::to_wstring(count) + L" ";
    }
    std::string TakeSets() { return std::exchange(m_machine.sets, {}); }

    Machine m_machine;
    FakeHost m_host;
    FakeProcessProvider m_processes;
    FakeLists m_lists;
    FakeEngine m_engine;
    optimizer::COptimizedProcessNotifier m_notifier;
    std::wstring m_news;
    TraceRecorder m_traces;
};

}  // namespace test_support
