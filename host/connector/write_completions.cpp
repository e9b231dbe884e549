#include "connector/write_completions.h"

#include <windows.h>

#include "connector/frame_sender.h"

namespace host {

CWriteCompletions::~CWriteCompletions() {
    if (!m_thread.IsStarted()) return;
    PostQueuedCompletionStatus(m_port.Get(), 0, 0, nullptr);
    m_thread.Join();
}

uint32_t CWriteCompletions::Open() {
    m_port.Reset(CreateIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, 1));
    if (!m_port) return GetLastError();
    return m_thread.Start<&CWriteCompletions::_Run>(this);
}

uint32_t CWriteCompletions::Add(HANDLE pipe, CFrameSender* sender) {
    const bool added = CreateIoCompletionPort(pipe, m_port.Get(), reinterpret_cast<ULONG_PTR>(sender), 0) &&
                       SetFileCompletionNotificationModes(pipe, FILE_SKIP_COMPLETION_PORT_ON_SUCCESS);
    return added ? ERROR_SUCCESS : GetLastError();
}

void CWriteCompletions::_Run() noexcept {
    for (;;) {
        DWORD writtenBytes = 0;
        ULONG_PTR sender = 0;
        OVERLAPPED* write = nullptr;
        const BOOL succeeded =
            GetQueuedCompletionStatus(m_port.Get(), &writtenBytes, &sender, &write, INFINITE);
        const DWORD error = succeeded ? ERROR_SUCCESS : GetLastError();
        if (write == nullptr) return;  // the destructor's word
        reinterpret_cast<CFrameSender*>(sender)->OnWritten(error);
    }
}

}  // namespace host
