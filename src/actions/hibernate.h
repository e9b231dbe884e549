#pragma once

#include <cstdint>

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
};

}  // namespace optimizer
