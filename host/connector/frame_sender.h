#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <utility>

#include <windows.h>

#include "connector/frame_reader.h"
#include "connector/send_budget.h"
#include "frame/slim_lock.h"

namespace host {

/// Writes frames to a pipe in the order of their coming, and never blocks for the reader at the other end.
///
/// A frame is written by the thread that sends it while the reader keeps up. Otherwise one write stays in
/// flight, and what comes later waits in a bounded queue; the completions' thread writes it on. The pipe is
/// overlapped, belongs to a completion port and skips it for writes that are done at once. Belonging to a
/// port also lets a write go on when the thread that began it ends.
class CFrameSender {
public:
    /// `reader` of the same pipe is stopped together with the sender.
    CFrameSender(HANDLE pipe, CFrameReader& reader) : m_pipe(pipe), m_reader(reader) {}
    CFrameSender(const CFrameSender&) = delete;
    CFrameSender& operator=(const CFrameSender&) = delete;

    /// What waits for the reader counts there from now on. Before the first Send.
    void LimitBy(std::shared_ptr<CSendBudget> budget) { m_budget = std::move(budget); }
    /// Any thread. 0; 1816 (ERROR_NOT_ENOUGH_QUOTA) when the queue is full, or the budget spent, and the
    /// frame isn't sent; 233 (ERROR_PIPE_NOT_CONNECTED) when closed; or the system's error, which closes.
    /// Throws std::bad_alloc.
    [[nodiscard]] uint32_t Send(const Frame& frame);
    /// On the completions' thread: the write in flight is done, with 0 or the system's error.
    void OnWritten(uint32_t error);
    /// Drops the queue and calls the write in flight off. Any thread, as often as wanted.
    void Close();
    /// Blocks until the system has taken all frames; after Close: until it is through with the pipe.
    void WaitUntilQuiet();

private:
    uint32_t _Write(const Frame& frame) REQUIRES(m_lock);
    uint32_t _Enqueue(const Frame& frame) REQUIRES(m_lock);
    bool _Take(const Frame& frame);
    void _GiveBack(size_t bytes);
    void _Close() REQUIRES(m_lock);

    const HANDLE m_pipe;
    CFrameReader& m_reader;
    std::shared_ptr<CSendBudget> m_budget;  // null: no other bound than the queue's
    optimizer::CSlimLock m_lock;
    OVERLAPPED m_overlapped GUARDED_BY(m_lock) = {};
    Frame m_inFlight GUARDED_BY(m_lock);
    std::deque<Frame> m_queue GUARDED_BY(m_lock);
    size_t m_queuedBytes GUARDED_BY(m_lock) = 0;
    bool m_writesOn GUARDED_BY(m_lock) =
        false;  // a write is in flight, or its completion is being dealt with
    bool m_closed GUARDED_BY(m_lock) = false;
    optimizer::CSignal m_quiet;  // nothing is in flight any more
};

}  // namespace host
