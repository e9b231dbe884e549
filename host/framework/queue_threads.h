#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "frame/handles.h"

namespace host {

/// A set of threads that start and end together. One thread at a time starts and joins it.
class CQueueThreads {
public:
    using Body = std::function<void()>;

    CQueueThreads() = default;
    CQueueThreads(const CQueueThreads&) = delete;
    CQueueThreads& operator=(const CQueueThreads&) = delete;

    /// Adds one thread that runs `body` once. 0 or the system's error. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Add(Body body);
    /// Whether the calling thread is one of them.
    bool IsOwn() const;
    /// Blocks until all have ended, `timeoutMs` at most. False when one runs on. Not on one of them.
    bool Join(DWORD timeoutMs = INFINITE) const;
    void Clear() { m_threads.clear(); }

private:
    std::vector<optimizer::KernelHandle> m_threads;
};

}  // namespace host
