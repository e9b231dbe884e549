#pragma once

#include "border/optimizer.h"
#include "frame/callback_list.h"

namespace test_support {

/// An engine that answers every request with one result; tests override what they look at. Its observers are
/// called through `events`.
class FakeEngine : public IOptimizer {
public:
    void* QueryInterface(const Identifier*) override { return this; }
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    uint32_t StartTask(const int32_t*) override { return result; }
    void CancelTask(const int32_t*) override {}
    uint32_t SetProfile(const profile*) override { return result; }
    uint32_t GetProfile(profile* active) override {
        *active = profile::Movie;
        return result;
    }
    uint32_t SetProfileConfig(const profile*, vx::String*) override { return result; }
    uint32_t GetProfileConfig(const profile*, vx::String*) override { return result; }
    uint32_t SetModuleEnable(bool) override { return result; }
    uint32_t GetModuleEnable(bool* enable) override {
        *enable = true;
        return result;
    }
    uint32_t AddEventsObserver(IOptimizerEvents* observer) override { return events.Add(observer); }
    uint32_t RemoveEventsObserver(IOptimizerEvents* observer) override { return events.Remove(observer, 0); }
    void* DeletingDestructor(uint32_t) override { return this; }

    std::atomic<uint32_t> result = 0;
    optimizer::CallbackList<IOptimizerEvents*> events;
};

}  // namespace test_support
