#include "connector/worker_thread.h"

#include <memory>
#include <new>

#include <process.h>

namespace host {

namespace {

/// Receive functions parse settings and nest traced calls, a kilobyte each; with a thread for each client the
/// default of the programs would be wasted.
constexpr unsigned kStackReserveBytes = 512 * 1024;

struct Entry {
    unsigned (*body)(void*);
    void* argument;
};

unsigned __stdcall Run(void* argument) {
    const std::unique_ptr<Entry> entry(static_cast<Entry*>(argument));
    return entry->body(entry->argument);
}

}  // namespace

uint32_t CWorkerThread::_Start(unsigned (*body)(void*), void* argument) {
    std::unique_ptr<Entry> entry(new (std::nothrow) Entry{body, argument});
    if (!entry) return ERROR_OUTOFMEMORY;
    const uintptr_t thread = _beginthreadex(nullptr, kStackReserveBytes, &Run, entry.get(),
                                            STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == 0) {
        const DWORD error = GetLastError();
        return error != ERROR_SUCCESS ? error : ERROR_NOT_ENOUGH_MEMORY;
    }
    (void)entry.release();  // the thread's own now
    m_thread.Reset(reinterpret_cast<HANDLE>(thread));
    return ERROR_SUCCESS;
}

void CWorkerThread::Join() {
    static_cast<void>(JoinWithin(INFINITE));
}

bool CWorkerThread::JoinWithin(uint32_t timeoutMs) {
    if (!m_thread) return true;
    if (WaitForSingleObject(m_thread.Get(), timeoutMs) == WAIT_TIMEOUT) return false;
    m_thread.Reset();
    return true;
}

}  // namespace host
