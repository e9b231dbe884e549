// Real processes that come and go, as "processdp" tells of them.
#include "plugins/process_provider.h"

#include <gtest/gtest.h>

#include "frame/module_path.h"
#include "tools/rig/child_process.h"
#include "tools/rig/scratch_services.h"

namespace host {
namespace {

using Guard = optimizer::CriticalSectionGuard;

/// What one registration was told of the scratch program, in order.
struct Listener {
    static uint32_t Hear(const _PROCESS_NOTIF* record, void* context) {
        auto& self = *static_cast<Listener*>(context);
        const std::wstring path = record->name != nullptr ? record->name : L"";
        if (_wcsicmp(path.c_str(), self.path.c_str()) != 0) return 0;
        const Guard guard(self.lock);
        self.told +=
            ((record->flags & _PROCESS_NOTIF::kEnded) != 0 ? "-" : "+") + std::to_string(record->pid) + " ";
        self.parentPid = record->parentPid;
        return 0;
    }
    bool Hears(const std::string& expected) {
        return rig::WaitUntil([&] {
            const Guard guard(lock);
            return told == expected;
        });
    }

    const std::wstring path = optimizer::GetModuleFolder() + L"scratch_process.exe";
    optimizer::CCriticalSection lock;
    std::string told;        // guarded by lock
    uint32_t parentPid = 0;  // guarded by lock
};

struct Scratch {
    Scratch() {
        EXPECT_TRUE(process.WaitForLine("ready "));
        pid = process.Lines().back().substr(6);
    }
    rig::ChildProcess process{L"\"" + optimizer::GetModuleFolder() + L"scratch_process.exe\""};
    std::string pid;
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
    EXPECT_TRUE(first.Hears("+" + started.pid + " "));
    EXPECT_EQ(first.parentPid, GetCurrentProcessId());

    EXPECT_TRUE(add(second));
    before.process.Kill();
    EXPECT_TRUE(second.Hears("-" + before.pid + " ")) << "the path is known from the time that it ran";
    EXPECT_TRUE(remove(first));
    started.process.Kill();
    EXPECT_TRUE(second.Hears("-" + before.pid + " -" + started.pid + " "));
    EXPECT_TRUE(first.Hears("+" + started.pid + " -" + before.pid + " ")) << "nothing after its removal";
    EXPECT_EQ(provider.Stop(), 0U);
    EXPECT_EQ(provider.Stop(), 0U);
    EXPECT_TRUE(remove(second)) << "also when nothing will be told any more";
}

}  // namespace
}  // namespace host
