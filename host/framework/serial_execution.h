#pragma once

#include "framework/queue_item.h"

namespace host {

class CEventQueue;

/// Runs its items one at a time, in order, on the queue's threads. The queue owns it, from
/// CreateSerialExecution to DestroySerialExecution. At most one of its items has a turn, that is, waits for a
/// thread or runs; the others wait behind it, so a busy serial execution never takes more than one thread and
/// shares the threads fairly.
class CSerialExecution final : public ISerialExecution {
public:
    explicit CSerialExecution(CEventQueue& queue) : m_queue(queue) {}
    CSerialExecution(const CSerialExecution&) = delete;
    CSerialExecution& operator=(const CSerialExecution&) = delete;

    uint32_t Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t reserved1,
                  uint64_t reserved2, uint64_t reserved3) override;

    // The queue's book-keeping, guarded by its lock.
    ItemList behind;
    uint32_t activeCount = 0;  // items that a thread runs or disposes of
    bool hasTurn = false;
    bool ending = false;       // takes no more items
    bool abandoned = false;    // nobody waits for the end: the last active item frees it
    optimizer::CSignal quiet;  // activeCount went down

private:
    CEventQueue& m_queue;
};

}  // namespace host
