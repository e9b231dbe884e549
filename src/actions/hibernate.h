#pragma once

#include <cstdint>
#include <string>

namespace optimizer {

/// The hibernation settings of the system's power scheme.
class IHibernate {
public:
    virtual ~IHibernate() = default;
    /// Comes before everything else. False: the object is of no use.
    virtual bool Init() = 0;
    virtual void Uninit() = 0;
    /// `timeout` in seconds. On false neither of the two has a meaning.
    virtual bool Get(bool onBattery, bool* enabled, uint32_t* timeout) = 0;
    virtual bool Set(bool onBattery, bool enabled, uint32_t timeout) = 0;
    /// The GUID of the plan that Get reads, as text; empty where there are no plans.
    virtual std::string Scheme() = 0;
    /// Has Set write to that plan in place of the active one. Anything but a GUID changes nothing.
    virtual void UseScheme(const std::string& scheme) = 0;
    /// Whether the plan of UseScheme doesn't exist any more.
    virtual bool IsSchemeGone(bool onBattery) = 0;
};

}  // namespace optimizer
