#pragma once

#include <windows.h>

namespace host {

/// Hears of the session's end: an invisible window that signals `stop` and then holds the system up until
/// `ended` is signalled, for as long as the system lets it. Made and pumped by one thread. A session without
/// a desktop gets none; the system then ends the process with the session.
class SessionEndWatch {
public:
    SessionEndWatch(HANDLE stop, HANDLE ended);
    ~SessionEndWatch();
    SessionEndWatch(const SessionEndWatch&) = delete;
    SessionEndWatch& operator=(const SessionEndWatch&) = delete;

    /// Works on the window's messages until `ended` is signalled.
    void PumpUntilEnded();

private:
    static LRESULT CALLBACK _OnMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void _EndWithSession() const;

    HANDLE m_stop;
    HANDLE m_ended;
    HWND m_window = nullptr;
};

}  // namespace host
