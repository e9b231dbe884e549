#pragma once

#include "border/plugin.h"

namespace test_support {

/// What all the plug-ins of tests share. It answers for exactly what may be asked.
template <class Interface>
class FakePlugin : public Interface {
public:
    void* QueryInterface(const Identifier* iid) override {
        return *iid == Interface::kIdentifier ? static_cast<Interface*>(this) : nullptr;
    }
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
};

}  // namespace test_support
