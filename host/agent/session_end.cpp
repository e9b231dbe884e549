#include "host/agent/session_end.h"

#include "frame/trace.h"

namespace host {

namespace {

constexpr const wchar_t* kClassName = L"OptimizerAgentSessionEnd";
// The system ends a process that takes five seconds.
constexpr DWORD kPatienceMs = 4000;

}  // namespace

SessionEndWatch::SessionEndWatch(HANDLE stop, HANDLE ended) : m_stop(stop), m_ended(ended) {
    TRACE_SCOPE("SessionEndWatch::SessionEndWatch");
    WNDCLASSEXW description = {};
    description.cbSize = sizeof(description);
    description.lpfnWndProc = &_OnMessage;
    description.hInstance = GetModuleHandleW(nullptr);
    description.lpszClassName = kClassName;
    RegisterClassExW(&description);
    // A top-level one: message-only windows don't hear of the session's end.
    m_window = CreateWindowExW(0, kClassName, L"", WS_POPUP, 0, 0, 0, 0, nullptr, nullptr,
                               description.hInstance, nullptr);
    if (m_window == nullptr) {
        const DWORD error = GetLastError();
        TRACE_LINE(optimizer::trace::kWarning, L"No window to hear of the session's end: 0x%x", error);
        return;
    }
    SetWindowLongPtrW(m_window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
}

SessionEndWatch::~SessionEndWatch() {
    if (m_window != nullptr) DestroyWindow(m_window);
}

void SessionEndWatch::PumpUntilEnded() {
    while (MsgWaitForMultipleObjects(1, &m_ended, FALSE, INFINITE, QS_ALLINPUT) == WAIT_OBJECT_0 + 1) {
        MSG message = {};
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE))
            DispatchMessageW(&message);
    }
}

LRESULT CALLBACK SessionEndWatch::_OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    const auto* const self =
        reinterpret_cast<const SessionEndWatch*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_ENDSESSION && wParam != FALSE && self != nullptr) {
        self->_EndWithSession();
        return 0;
    }
    return DefWindowProcW(window, message, wParam, lParam);
}

void SessionEndWatch::_EndWithSession() const {
    SetEvent(m_stop);
    // The system may end the process as soon as this returns.
    WaitForSingleObject(m_ended, kPatienceMs);
}

}  // namespace host
