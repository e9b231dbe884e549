#include "frame/sync_rw_lock.h"

#include <new>
#include <utility>

#include "frame/fatal.h"

namespace optimizer {

namespace {

constexpr LONG kGateMaximum = 0x7FFFFFFF;

uint32_t ThreadOrCaller(uint32_t threadId) {
    return threadId != 0 ? threadId : GetCurrentThreadId();
}

void Require(bool condition) {
    if (!condition) EndProcess();
}

}  // namespace

CSyncRWLock::CSyncRWLock()
    : m_readerGate(CreateSemaphoreW(nullptr, 0, kGateMaximum, nullptr)),
      m_writerGate(CreateSemaphoreW(nullptr, 0, kGateMaximum, nullptr)) {
    if (!m_readerGate || !m_writerGate) throw std::bad_alloc();
}

// A failed insertion after the wait would leave a reader counted for ever, so that it ends the process.
void CSyncRWLock::LockRead(uint32_t threadId) noexcept {
    const uint32_t thread = ThreadOrCaller(threadId);
    LockGuard guard(m_lock);
    if (m_activeReaders > 0) {
        const auto found = m_readDepths.find(thread);
        if (found != m_readDepths.end()) {
            ++found->second;
            return;
        }
    }
    if (m_activeWriters > 0 && m_writingThread == thread) {
        ++m_writerReadDepth;
        return;
    }
    if (m_activeWriters == 0 && m_waitingWriters == 0) {
        m_readDepths.emplace(thread, 1);
        ++m_activeReaders;
        return;
    }
    ++m_waitingReaders;
    guard.unlock();
    WaitForSingleObject(m_readerGate.Get(), INFINITE);
    guard.lock();
    // Whoever opened the gate has counted this reader as active already.
    m_readDepths[thread] = 1;
}

void CSyncRWLock::UnlockRead(uint32_t threadId) {
    _Open(_EndReadSide(ThreadOrCaller(threadId)));
}

CSyncRWLock::Opening CSyncRWLock::_EndReadSide(uint32_t thread) {
    const LockGuard guard(m_lock);
    if (m_activeReaders == 0) {
        Require(m_activeWriters > 0 && m_writingThread == thread && m_writerReadDepth > 0);
        --m_writerReadDepth;
        return _EndWriteTurn();
    }
    const auto found = m_readDepths.find(thread);
    Require(found != m_readDepths.end());
    if (found->second > 1) {
        --found->second;
        return {};
    }
    m_readDepths.erase(found);
    --m_activeReaders;
    return m_activeReaders == 0 && m_waitingWriters > 0 ? _NextWriter() : Opening{};
}

void CSyncRWLock::LockWrite(uint32_t threadId) {
    const uint32_t thread = ThreadOrCaller(threadId);
    LockGuard guard(m_lock);
    Require(m_activeReaders == 0 || !m_readDepths.contains(thread));
    if (m_activeReaders == 0 && m_activeWriters == 0) {
        ++m_activeWriters;
        _TakeWriteSide(thread);
        return;
    }
    if (m_activeReaders == 0 && m_writingThread == thread) {
        ++m_writerWriteDepth;
        return;
    }
    ++m_waitingWriters;
    guard.unlock();
    WaitForSingleObject(m_writerGate.Get(), INFINITE);
    guard.lock();
    // Whoever opened the gate has counted this writer as active already.
    _TakeWriteSide(thread);
}

void CSyncRWLock::UnlockWrite(uint32_t threadId) {
    _Open(_EndWriteSide(ThreadOrCaller(threadId)));
}

CSyncRWLock::Opening CSyncRWLock::_EndWriteSide(uint32_t thread) {
    const LockGuard guard(m_lock);
    Require(m_activeWriters > 0 && m_writingThread == thread && m_writerWriteDepth > 0);
    --m_writerWriteDepth;
    return _EndWriteTurn();
}

void CSyncRWLock::_TakeWriteSide(uint32_t threadId) {
    m_writingThread = threadId;
    m_writerReadDepth = 0;
    m_writerWriteDepth = 1;
}

/// The turn goes on until both depths are 0.
CSyncRWLock::Opening CSyncRWLock::_EndWriteTurn() {
    if (m_writerReadDepth != 0 || m_writerWriteDepth != 0) return {};
    --m_activeWriters;
    m_writingThread = 0;
    if (m_waitingWriters > 0) return _NextWriter();
    m_activeReaders = std::exchange(m_waitingReaders, 0);
    return {m_readerGate.Get(), static_cast<LONG>(m_activeReaders)};
}

CSyncRWLock::Opening CSyncRWLock::_NextWriter() {
    --m_waitingWriters;
    ++m_activeWriters;
    return {m_writerGate.Get(), 1};
}

void CSyncRWLock::_Open(const Opening& opening) {
    if (opening.count > 0) ReleaseSemaphore(opening.gate, opening.count, nullptr);
}

}  // namespace optimizer
