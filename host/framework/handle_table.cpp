#include "framework/handle_table.h"

namespace host {

namespace {

/// Index plus one in the low half, so that no handle is null; the slot's generation in the high half.
QueueHandle MakeHandle(uint32_t index, uint32_t generation) {
    return reinterpret_cast<QueueHandle>((static_cast<uintptr_t>(generation) << 32) | (index + 1));
}

uint32_t IndexOf(QueueHandle handle) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle)) - 1;
}

}  // namespace

QueueHandle CHandleTable::Add(ItemRef item) {
    if (m_free.empty()) {
        m_free.reserve(m_slots.size() + 1);  // so that Remove never allocates
        m_slots.emplace_back();
        m_free.push_back(static_cast<uint32_t>(m_slots.size() - 1));
    }
    const uint32_t index = m_free.back();
    m_free.pop_back();
    Slot& slot = m_slots[index];
    slot.item = item;
    slot.used = true;
    return MakeHandle(index, slot.generation);
}

ItemRef* CHandleTable::Find(QueueHandle handle) {
    const uint32_t index = IndexOf(handle);
    if (index >= m_slots.size()) return nullptr;
    Slot& slot = m_slots[index];
    return slot.used && MakeHandle(index, slot.generation) == handle ? &slot.item : nullptr;
}

void CHandleTable::Remove(QueueHandle handle) {
    if (Find(handle) == nullptr) return;
    const uint32_t index = IndexOf(handle);
    m_slots[index].used = false;
    ++m_slots[index].generation;
    m_free.push_back(index);
}

}  // namespace host
