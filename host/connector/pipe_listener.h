#pragma once

#include <cstdint>
#include <string>

#include <windows.h>

#include "connector/client_origin.h"
#include "frame/handles.h"

namespace host {

/// The name of a pipe, and its instance that waits for the next client. From Open on no other process can
/// serve the name. One thread at a time.
class CPipeListener {
public:
    /// One of them is never given away: with it the name would go, and another process could take it.
    static constexpr DWORD kMostInstances = kMostClients + 1;

    CPipeListener() = default;
    CPipeListener(const CPipeListener&) = delete;
    CPipeListener& operator=(const CPipeListener&) = delete;
    ~CPipeListener();

    /// 0, 87 (ERROR_INVALID_PARAMETER) for a name that is null or empty, 5 (ERROR_ACCESS_DENIED) when the
    /// name is taken, or the system's error. Traces who took it, and waits up to ten seconds for another
    /// process to give it back. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Open(const wchar_t* pipeName);
    /// Blocks for a client and gives its pipe; none when the event `roused` was signalled first, or now and
    /// then while no instance can be had. A client that comes before the first Accept waits for it.
    optimizer::FileHandle Accept(HANDLE roused);

private:
    uint32_t _TakeName();
    uint32_t _MakeInstance(DWORD firstFlag, optimizer::FileHandle& out);
    bool _Listen();
    uint32_t _BeginConnect();
    void _Refuse();

    std::wstring m_path;
    optimizer::LocalMemory m_security;
    optimizer::KernelHandle m_connected;
    optimizer::FileHandle m_instance;
    OVERLAPPED m_overlapped = {};
    bool m_listening = false;  // a connect is under way or done on m_instance
    bool m_pending = false;    // under way
    bool m_inTrouble = false;  // and it was traced
};

}  // namespace host
