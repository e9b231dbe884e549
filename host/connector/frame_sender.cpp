#include "connector/frame_sender.h"

#include <utility>

namespace host {

using optimizer::LockGuard;

namespace {

/// How far a reader may fall behind. The first frame is taken whatever its size.
constexpr size_t kMostQueuedBytes = size_t{4} * 1024 * 1024;
constexpr size_t kBookkeepingBytes = 64;  // of a frame in the queue

size_t WeightOf(const Frame& frame) {
    return frame.sizeBytes + kBookkeepingBytes;
}

}  // namespace

uint32_t CFrameSender::Send(const Frame& frame) {
    const LockGuard guard(m_lock);
    if (m_closed) return ERROR_PIPE_NOT_CONNECTED;
    if (m_writesOn) return _Enqueue(frame);
    return _Take(frame) ? _Write(frame) : uint32_t{ERROR_NOT_ENOUGH_QUOTA};
}

void CFrameSender::OnWritten(uint32_t error) {
    for (;;) {  // gives the lock up between two writes
        const LockGuard guard(m_lock);
        if (m_inFlight.bytes) _GiveBack(WeightOf(m_inFlight));
        m_inFlight = {};
        if (error != ERROR_SUCCESS) _Close();
        if (m_queue.empty()) {
            m_writesOn = false;
            m_quiet.WakeAll();  // the owner may be gone as soon as the lock is given up
            return;
        }
        const Frame frame = std::move(m_queue.front());
        m_queue.pop_front();
        m_queuedBytes -= WeightOf(frame);
        error = _Write(frame);
        if (m_inFlight.bytes) return;
    }
}

void CFrameSender::Close() {
    const LockGuard guard(m_lock);
    _Close();
}

void CFrameSender::WaitUntilQuiet() {
    const LockGuard guard(m_lock);
    while (m_writesOn)
        m_quiet.Wait(m_lock);
}

/// Of a frame that the budget has been asked for.
uint32_t CFrameSender::_Write(const Frame& frame) {
    m_overlapped = {};
    const bool isDone = WriteFile(m_pipe, frame.bytes.get(), frame.sizeBytes, nullptr, &m_overlapped);
    const DWORD error = isDone ? DWORD{ERROR_SUCCESS} : GetLastError();
    if (error != ERROR_IO_PENDING) _GiveBack(WeightOf(frame));
    if (isDone) return ERROR_SUCCESS;
    if (error != ERROR_IO_PENDING) {
        _Close();
        return error;
    }
    m_inFlight = frame;
    m_writesOn = true;
    return ERROR_SUCCESS;
}

uint32_t CFrameSender::_Enqueue(const Frame& frame) {
    if (!m_queue.empty() && m_queuedBytes + WeightOf(frame) > kMostQueuedBytes) return ERROR_NOT_ENOUGH_QUOTA;
    m_queue.push_back(frame);
    if (!_Take(frame)) {
        m_queue.pop_back();
        return ERROR_NOT_ENOUGH_QUOTA;
    }
    m_queuedBytes += WeightOf(frame);
    return ERROR_SUCCESS;
}

bool CFrameSender::_Take(const Frame& frame) {
    return m_budget == nullptr || m_budget->TryTake(WeightOf(frame));
}

void CFrameSender::_GiveBack(size_t bytes) {
    if (m_budget != nullptr) m_budget->GiveBack(bytes);
}

void CFrameSender::_Close() {
    m_closed = true;
    m_reader.Stop();
    m_queue.clear();
    _GiveBack(std::exchange(m_queuedBytes, 0));
    if (m_inFlight.bytes) CancelIoEx(m_pipe, &m_overlapped);
}

}  // namespace host
