#pragma once

#include <map>

#include "border/sync_lock.h"
#include "frame/critical_section.h"
#include "frame/handles.h"
#include "frame/thread_safety.h"

namespace optimizer {

/// A reader-writer lock that a thread may take again, and that knows its threads by id.
///
/// A waiting writer goes before readers that come later, but a thread that already reads goes through at
/// once, so that nested reads can't deadlock against a writer. A writer may also read; its turn ends when
/// both depths are 0. A reader can't become a writer. Breaking these rules is a programming error and ends
/// the process.
///
/// Any thread; LockRead and LockWrite block without limit, the others don't.
class CAPABILITY("lock") CSyncRWLock final : public ISyncRWLock {
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
    /// Whom to let in once m_lock is given up.
    struct Opening {
        HANDLE gate = nullptr;
        LONG count = 0;  // 0 for nobody
    };

    void _TakeWriteSide(uint32_t threadId) REQUIRES(m_lock);
    Opening _EndReadSide(uint32_t thread);
    Opening _EndWriteSide(uint32_t thread);
    Opening _EndWriteTurn() REQUIRES(m_lock);
    Opening _NextWriter() REQUIRES(m_lock);
    static void _Open(const Opening& opening);

    CCriticalSection m_lock;  // never held across a wait
    const KernelHandle m_readerGate;
    const KernelHandle m_writerGate;
    uint32_t m_waitingReaders GUARDED_BY(m_lock) = 0;
    uint32_t m_waitingWriters GUARDED_BY(m_lock) = 0;
    uint32_t m_activeReaders GUARDED_BY(m_lock) = 0;
    uint32_t m_activeWriters GUARDED_BY(m_lock) = 0;
    uint32_t m_writingThread GUARDED_BY(m_lock) = 0;
    uint32_t m_writerReadDepth GUARDED_BY(m_lock) = 0;
    uint32_t m_writerWriteDepth GUARDED_BY(m_lock) = 0;
    std::map<uint32_t, uint32_t> m_readDepths GUARDED_BY(m_lock);  // by thread id
};

// Only these guards tell the check that the lock is held: its own operations take turns by counting, which
// the check can't follow. Hence no check of the constructors either.

/// Holds the read side of a lock for a scope.
class SCOPED_CAPABILITY ReadGuard {
public:
    explicit ReadGuard(CSyncRWLock& lock) ACQUIRE_SHARED(lock) NO_THREAD_SAFETY_ANALYSIS : m_lock(lock) {
        m_lock.LockRead(0);
    }
    ~ReadGuard() RELEASE() { m_lock.UnlockRead(0); }
    ReadGuard(const ReadGuard&) = delete;
    ReadGuard& operator=(const ReadGuard&) = delete;

private:
    CSyncRWLock& m_lock;
};

/// Holds the write side of a lock for a scope.
class SCOPED_CAPABILITY WriteGuard {
public:
    explicit WriteGuard(CSyncRWLock& lock) ACQUIRE(lock) NO_THREAD_SAFETY_ANALYSIS : m_lock(lock) {
        m_lock.LockWrite(0);
    }
    ~WriteGuard() RELEASE() { m_lock.UnlockWrite(0); }
    WriteGuard(const WriteGuard&) = delete;
    WriteGuard& operator=(const WriteGuard&) = delete;

private:
    CSyncRWLock& m_lock;
};

}  // namespace optimizer
