// Real processes that come and go, as "processdp" tells of them.
#include "plugins/process_provider.h"

#include <atomic>

#include <gtest/gtest.h>

#include "frame/module_path.h"
#include "frame/text.h"
#include "tests/host/processes/told.h"
#include "tools/rig/child_process.h"

namespace host {
namespace {

/// What one registration was told of the scratch program, in order.
struct Listener : Told {
    static uint32_t Hear(const _PROCESS_NOTIF* record, void* context) {
        auto& self = *static_cast<Listener*>(context);
        const bool isScratch = record->name != nullptr && _wcsicmp(record->name, self.path.c_str()) == 0;
        if (!isScratch) return 0;
        self.parentPid = record->parentPid;
        self.Add((record->flags == _PROCESS_NOTIF::kEnded ? L"-" : L"+") + std::to_wstring(record->pid));
        return 0;
    }

    const std::wstring path = optimizer::GetModuleFolder() + L"scratch_process.exe";
    std::atomic<uint32_t> parentPid = 0;
};

struct Scratch {
    Scratch() {
        EXPECT_TRUE(process.WaitForLine("ready "));
        pid = optimizer::Widen(process.Lines().back().substr(6));
    }
    rig::ChildProcess process{L"\"" + optimizer::GetModuleFolder() + L"scratch_process.exe\""};
    std::wstring pid;
};

TEST(ProcessProvider, EachRegistrationHearsWhatStartsAndEndsFromThenOn) {
    CProcessProvider provider;
    Listener first;
    Listener second;
    const auto add = [&](Listener& one) {
        return provider.RegisterProcessNotifyCallback(&Listener::Hear, &one, 0);
    };
    const auto remove = [&](Listener& one) {
        return provider.UnregisterProcessNotifyCallback(&Listener::Hear, &one);
    };
    Scratch before;
    ASSERT_EQ(provider.Init(nullptr), 0U);
    ASSERT_EQ(provider.Start(), 0U);
    EXPECT_TRUE(add(first));
    EXPECT_FALSE(add(first));
    EXPECT_FALSE(remove(second));
    Scratch started;
    EXPECT_TRUE(first.Hears(L"+" + started.pid));
    EXPECT_EQ(first.parentPid, GetCurrentProcessId());

    EXPECT_TRUE(add(second));
    before.process.Kill();
    EXPECT_TRUE(second.Hears(L"-" + before.pid)) << "the path is known from the time that it ran";
    EXPECT_TRUE(remove(first));
    started.process.Kill();
    EXPECT_TRUE(second.Hears(L"-" + started.pid));
    EXPECT_TRUE(first.Hears(L"-" + before.pid)) << "nothing after its removal";
    EXPECT_EQ(provider.Stop(), 0U);
    EXPECT_EQ(provider.Stop(), 0U);
    const Scratch meanwhile;
    ASSERT_EQ(provider.Start(), 0U);
    EXPECT_TRUE(second.Hears(L"+" + meanwhile.pid)) << "a registration outlives a stop";
    EXPECT_EQ(provider.Stop(), 0U);
    EXPECT_TRUE(remove(second)) << "also when nothing will be told any more";
}

}  // namespace
}  // namespace host
