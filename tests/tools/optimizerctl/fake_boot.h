#pragma once

#include <functional>

#include "tests/support/fake_boot_time.h"
#include "tools/optimizerctl/failure.h"
#include "tools/optimizerctl/surroundings.h"

namespace ctl_test {

/// The service's measurement of the boot; `connection` is what the connector says of it.
class FakeBoot final : public test_support::FakeBootTime<boottime::IBootTimeCommClient>,
                       public boottime::IBootTimeCommClientAsync {
public:
    uint32_t connection = ERROR_SUCCESS;
    /// What happens when somebody begins to listen.
    std::function<void(boottime::IBootTimeEvents&)> onRegister = [](boottime::IBootTimeEvents&) {};

    void* QueryInterface(const Identifier* iid) override {
        return *iid == boottime::IBootTimeCommClientAsync::kIdentifier
                   ? static_cast<boottime::IBootTimeCommClientAsync*>(this)
                   : nullptr;
    }
    uint32_t AddEventsObserver(boottime::IBootTimeEvents* observer) override {
        onRegister(*observer);
        return FakeBootTime::AddEventsObserver(observer);
    }
    void* DeletingDestructor(uint32_t) override { return nullptr; }
    uint32_t GetBootTimeAsync() override { return connection; }
    uint32_t GetTotalBootImpactAsync() override { return connection; }
    uint32_t GetBootImpactAsync(boottime::ProcessImpact*) override { return connection; }
    uint32_t GetDiskSpeedAsync() override { return connection; }
    uint32_t AddResponseObserver(boottime::IBootTimeResponse*) override { return ERROR_SUCCESS; }
    uint32_t RemoveResponseObserver(boottime::IBootTimeResponse*) override { return ERROR_SUCCESS; }
};

class FakeBootSource final : public ctl::IBootSource {
public:
    FakeBootSource(FakeBoot& boot, bool isThere) : m_boot(boot), m_isThere(isThere) {}

    boottime::IBootTimeCommClient& Open(std::optional<uint32_t>) override {
        if (!m_isThere) throw ctl::Unreachable(ERROR_NOT_ENOUGH_MEMORY, L"nobody is there");
        return m_boot;
    }

private:
    FakeBoot& m_boot;
    const bool m_isThere;
};

}  // namespace ctl_test
