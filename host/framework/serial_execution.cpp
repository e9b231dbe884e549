#include "framework/serial_execution.h"

#include "framework/event_queue.h"

namespace host {

uint32_t CSerialExecution::Post(const wchar_t* name, QueueHandle* out, EqWorkItem* item, uint64_t, uint64_t,
                                uint64_t) {
    return m_queue.PostSerial(*this, name, out, item);
}

}  // namespace host
