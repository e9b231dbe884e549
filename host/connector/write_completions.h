#pragma once

#include <cstdint>

#include "connector/worker_thread.h"
#include "frame/handles.h"

namespace host {

class CFrameSender;

/// The completion port of an endpoint's pipes, and the thread that tells the senders what came of their
/// writes. Outlives the senders.
class CWriteCompletions {
public:
    CWriteCompletions() = default;
    CWriteCompletions(const CWriteCompletions&) = delete;
    CWriteCompletions& operator=(const CWriteCompletions&) = delete;
    ~CWriteCompletions();

    /// 0 or the system's error.
    [[nodiscard]] uint32_t Open();
    /// Makes the port the one of `pipe`, for good. Writes that are done at once aren't told. 0 or the
    /// system's error.
    [[nodiscard]] uint32_t Add(HANDLE pipe, CFrameSender* sender);

private:
    void _Run() noexcept;

    optimizer::KernelHandle m_port;
    CWorkerThread m_thread;
};

}  // namespace host
