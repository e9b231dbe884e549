#include "framework/queue_threads.h"

#include <memory>

#include <process.h>

namespace host {

namespace {

/// Work items parse settings and nest traced calls, a kilobyte each; the default of the programs would be
/// wasted.
constexpr unsigned kStackReserveBytes = 512 * 1024;

unsigned __stdcall RunBody(void* argument) {
    const std::unique_ptr<CQueueThreads::Body> body(static_cast<CQueueThreads::Body*>(argument));
    (*body)();
    return 0;
}

}  // namespace

uint32_t CQueueThreads::Add(Body body) {
    m_threads.reserve(m_threads.size() + 1);
    auto argument = std::make_unique<Body>(std::move(body));
    const uintptr_t thread = _beginthreadex(nullptr, kStackReserveBytes, &RunBody, argument.get(),
                                            STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    if (thread == 0) {
        const DWORD error = GetLastError();
        return error != ERROR_SUCCESS ? error : ERROR_NOT_ENOUGH_MEMORY;
    }
    (void)argument.release();  // the thread's own now
    m_threads.emplace_back(reinterpret_cast<HANDLE>(thread));
    return ERROR_SUCCESS;
}

bool CQueueThreads::IsOwn() const {
    const DWORD current = GetCurrentThreadId();
    for (const auto& thread : m_threads) {
        if (GetThreadId(thread.Get()) == current) return true;
    }
    return false;
}

bool CQueueThreads::Join(DWORD timeoutMs) const {
    const ULONGLONG start = GetTickCount64();
    for (const auto& thread : m_threads) {
        const ULONGLONG spentMs = GetTickCount64() - start;
        const DWORD leftMs = timeoutMs == INFINITE ? INFINITE
                             : spentMs < timeoutMs ? static_cast<DWORD>(timeoutMs - spentMs)
                                                   : 0;
        if (WaitForSingleObject(thread.Get(), leftMs) == WAIT_TIMEOUT) return false;
    }
    return true;
}

}  // namespace host
