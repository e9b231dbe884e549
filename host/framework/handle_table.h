#pragma once

#include <vector>

#include "framework/queue_item.h"

namespace host {

/// Gives items handles that are numbers, not addresses: a stale or made-up handle finds nothing. Not locked.
class CHandleTable {
public:
    /// Throws std::bad_alloc.
    QueueHandle Add(ItemRef item);
    /// Null for a handle that isn't there.
    ItemRef* Find(QueueHandle handle);
    void Remove(QueueHandle handle);

private:
    struct Slot {
        ItemRef item;
        uint32_t generation = 0;  // raised whenever the slot is freed
        bool used = false;
    };

    std::vector<Slot> m_slots;
    std::vector<uint32_t> m_free;
};

}  // namespace host
