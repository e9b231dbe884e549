#pragma once

#include "border/process_provider.h"
#include "frame/object_factory.h"

namespace host {

/// Component "processdp" for a host that tells of no processes: takes every registration and never calls.
/// Whoever asks which processes run finds those of the moment. Any thread.
class CFakeProcessProvider final : public IProcessProvider {
public:
    void* QueryInterface(const Identifier* iid) override {
        return optimizer::AnswerFor<IProcessProvider>(this, iid);
    }
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    bool RegisterProcessNotifyCallback(ProcessNotifyFunction* function, void*, uint64_t) override {
        return function != nullptr;
    }
    bool UnregisterProcessNotifyCallback(ProcessNotifyFunction* function, void*) override {
        return function != nullptr;
    }
};

}  // namespace host
