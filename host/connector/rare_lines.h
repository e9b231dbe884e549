#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>

#include "connector/client_origin.h"
#include "frame/slim_lock.h"
#include "frame/thread_safety.h"

namespace host {

/// Keeps clients that do one wrong thing after the other from filling the log: a line for each account in a
/// session and a minute, whatever number of connections it makes. Any thread.
class CRareLines {
public:
    /// Whether a line may be written at that tick count; `leftOut` receives how many weren't since the last.
    /// Throws std::bad_alloc.
    bool MayWrite(const ClientOrigin& origin, uint64_t nowMs, uint32_t& leftOut);

private:
    struct Last {
        uint64_t writtenMs;
        uint32_t leftOut;
    };

    optimizer::CSlimLock m_lock;
    std::map<std::pair<std::wstring, uint32_t>, Last> m_last GUARDED_BY(m_lock);
};

}  // namespace host
