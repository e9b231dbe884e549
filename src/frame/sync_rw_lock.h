#pragma once

#include <map>

#include "border/sync_lock.h"
#include "frame/critical_section.h"
#include "frame/handles.h"

namespace optimizer {

/// A reader-writer lock that a thread may take again, and that knows its threads by id.
///
/// A waiting writer goes before readers that come later, but a thread that already reads goes through at
/// once, so that nested reads can't deadlock against a writer. A writer may also read; its turn ends when
/// both depths are 0. A reader can't become a writer. Breaking these rules is a programming error and ends
/// the process.
///
/// Any thread; LockRead and LockWrite block without limit, the others don't.
class CSyncRWLock final : public ISyncRWLock {
public:
    /// Throws std::bad_alloc when the system gives no semaphores.
    CSyncRWLock();
    ~CSyncRWLock() = default;
    CSyncRWLock(const CSyncRWLock&) = delete;
    CSyncRWLock& operator=(const CSyncRWLock&) = delete;

    void LockRead(uint32_t threadId) noexcept override;
    void UnlockRead(uint32_t threadId) override;
    void LockWrite(uint32_t threadId) override;
    void UnlockWrite(uint32_t threadId) override;

private:
    void _TakeWriteSide(uint32_t threadId);
    void _EndWriteSide(std::unique_lock<CCriticalSection>& guard);
    void _OpenWriterGate(std::unique_lock<CCriticalSection>& guard);

    CCriticalSection m_lock;  // guards all fields below, never held across a wait
    KernelHandle m_readerGate;
    KernelHandle m_writerGate;
    uint32_t m_waitingReaders = 0;
    uint32_t m_waitingWriters = 0;
    uint32_t m_activeReaders = 0;
    uint32_t m_activeWriters = 0;
    uint32_t m_writingThread = 0;
    uint32_t m_writerReadDepth = 0;
    uint32_t m_writerWriteDepth = 0;
    std::map<uint32_t, uint32_t> m_readDepths;  // by thread id
};

/// Holds the read side of a lock for a scope.
class ReadGuard {
public:
    explicit ReadGuard(ISyncRWLock& lock) : m_lock(lock) { m_lock.LockRead(0); }
    ~ReadGuard() { m_lock.UnlockRead(0); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

private:
    ISyncRWLock& m_lock;
};

/// Holds the write side of a lock for a scope.
class WriteGuard {
public:
    explicit WriteGuard(ISyncRWLock& lock) : m_lock(lock) { m_lock.LockWrite(0); }
    ~WriteGuard() { m_lock.UnlockWrite(0); }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

private:
    ISyncRWLock& m_lock;
};

}  // namespace optimizer
