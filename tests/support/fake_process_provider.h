#pragma once

#include <gtest/gtest.h>

#include "border/process_provider.h"
#include "tests/support/fake_plugin.h"

namespace test_support {

/// "processdp", which tells what the test wants.
struct FakeProcessProvider final : FakePlugin<IProcessProvider> {
    bool RegisterProcessNotifyCallback(ProcessNotifyFunction* f, void* c, uint64_t) override {
        if (!refuses) function = f, context = c;
        return !refuses;
    }
    bool UnregisterProcessNotifyCallback(ProcessNotifyFunction* f, void* c) override {
        const bool known = function == f && context == c;
        if (known) function = nullptr;
        return known;
    }
    void Tell(uint32_t pid, const wchar_t* path, uint32_t flags) const {
        _PROCESS_NOTIF record = {pid, 0, 0, 0, flags, 0, path};
        EXPECT_EQ(function(&record, context), 0U);
    }

    ProcessNotifyFunction* function = nullptr;
    void* context = nullptr;
    bool refuses = false;
};

}  // namespace test_support
