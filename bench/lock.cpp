// What an uncontended pass through the reader-writer lock costs.
#include <map>

#include "bench/harness.h"
#include "frame/sync_rw_lock.h"

namespace bench {

Figure ReadLock() {
    optimizer::CSyncRWLock lock;
    Keep(&lock);
    const auto ours = [&lock] { const optimizer::ReadGuard guard(lock); };

    optimizer::CCriticalSection section;
    std::map<uint32_t, uint32_t> depths;
    Keep(&depths);
    const auto bare = [&] {
        const DWORD thread = GetCurrentThreadId();
        {
            const optimizer::CriticalSectionGuard guard(section);
            depths.emplace(thread, 1);
        }
        const optimizer::CriticalSectionGuard guard(section);
        depths.erase(thread);
    };
    return {"read lock and unlock", "2 critical sections, map insert and erase", 1.5, Ratios(ours, bare), {}};
}

}  // namespace bench
