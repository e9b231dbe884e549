#pragma once

#include <memory>
#include <optional>
#include <string>

#include "actions/hibernate.h"
#include "actions/power_functions.h"

namespace optimizer {

/// The hibernation settings of the active power scheme, on Windows Vista and later. One thread at a time.
class CVistaHibernate final : public IHibernate {
public:
    bool Init() override;
    void Uninit() override;
    /// Reads from the scheme that was active at Init.
    bool Get(bool onBattery, bool* enabled, uint32_t* timeout) override;
    /// Writes to the scheme that is active now, unless UseScheme named one.
    bool Set(bool onBattery, bool enabled, uint32_t timeout) override;
    std::string Scheme() override;
    void UseScheme(const std::string& scheme) override;
    bool IsSchemeGone(bool onBattery) override;

private:
    std::unique_ptr<PowerFunctions> m_functions;  // null before Init and after Uninit
    LocalMemory m_scheme;                         // the GUID of the scheme that was active at Init
    std::optional<GUID> m_noted;                  // the scheme of UseScheme
};

}  // namespace optimizer
