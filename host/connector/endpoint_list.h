#pragma once

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "frame/slim_lock.h"

namespace host {

/// The endpoints that a component has given out. Any thread. Those that nobody gave back end with it.
template <class Endpoint>
class CEndpointList {
public:
    /// Throws std::bad_alloc.
    Endpoint* Add(std::unique_ptr<Endpoint> endpoint) {
        const optimizer::LockGuard guard(m_lock);
        return m_endpoints.emplace_back(std::move(endpoint)).get();
    }

    /// The endpoint, for the caller to end outside the lock; null for one that isn't listed.
    std::unique_ptr<Endpoint> Remove(const void* endpoint) {
        const optimizer::LockGuard guard(m_lock);
        const auto entry = std::find_if(m_endpoints.begin(), m_endpoints.end(),
                                        [&](const auto& listed) { return listed.get() == endpoint; });
        if (entry == m_endpoints.end()) return nullptr;
        std::unique_ptr<Endpoint> found = std::move(*entry);
        m_endpoints.erase(entry);
        return found;
    }

    template <class Condition>
    size_t CountIf(Condition condition) {
        const optimizer::LockGuard guard(m_lock);
        return static_cast<size_t>(std::count_if(m_endpoints.begin(), m_endpoints.end(),
                                                 [&](const auto& listed) { return condition(*listed); }));
    }

private:
    optimizer::CSlimLock m_lock;
    std::vector<std::unique_ptr<Endpoint>> m_endpoints GUARDED_BY(m_lock);
};

}  // namespace host
