// The reader-writer lock's operations; implemented by frame/sync_rw_lock.h.
#pragma once

#include <stdint.h>

/// Operations name the thread; 0 is the calling one.
struct ISyncRWLock {
    virtual void LockRead(uint32_t threadId) = 0;     // 0
    virtual void UnlockRead(uint32_t threadId) = 0;   // 1
    virtual void LockWrite(uint32_t threadId) = 0;    // 2
    virtual void UnlockWrite(uint32_t threadId) = 0;  // 3
};
