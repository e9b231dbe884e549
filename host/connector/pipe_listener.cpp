#include "connector/pipe_listener.h"

#include <algorithm>
#include <optional>
#include <utility>

#include "connector/deadline.h"
#include "connector/pipe_access.h"
#include "frame/trace.h"
#include "host/pipe_holder/pipe_holder.h"

namespace host {

using optimizer::FileHandle;

namespace trace = optimizer::trace;

namespace {

/// What the system takes in for a reader before a write has to wait.
constexpr DWORD kBufferBytes = 64 * 1024;
/// Between two attempts at an instance while all clients' places are taken or memory is short.
constexpr DWORD kRetryMs = 500;
/// For a name that another process serves: its own host may be on its way out.
constexpr DWORD kNamePatienceMs = 10000;
constexpr DWORD kNameRetryMs = 200;

}  // namespace

CPipeListener::~CPipeListener() {
    if (!m_pending) return;
    CancelIoEx(m_instance.Get(), &m_overlapped);
    WaitForSingleObject(m_connected.Get(), INFINITE);  // the system must be through with m_overlapped
}

uint32_t CPipeListener::Open(const wchar_t* pipeName) {
    m_path = PipePath(pipeName);
    if (m_path.empty()) return ERROR_INVALID_PARAMETER;
    m_security = MakePipeSecurity();
    if (!m_security) return GetLastError();
    m_connected.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!m_connected) return GetLastError();
    const CDeadline deadline(kNamePatienceMs);
    for (bool told = false;; told = true) {
        const uint32_t error = _TakeName();
        if (error != ERROR_ACCESS_DENIED) return error;
        const std::optional<PipeHolder> holder = FindPipeHolder(m_path);
        if (holder && !told) {
            TRACE_SCOPE("CPipeListener::Open");
            TRACE_LINE(trace::kError, L"The name %s is taken by %s", m_path.c_str(),
                       HolderText(*holder).c_str());
        }
        // What this process serves itself isn't given back while it waits here.
        if (holder && holder->process == GetCurrentProcessId()) return error;
        if (deadline.LeftMs() == 0) return error;
        Sleep(std::min(deadline.LeftMs(), kNameRetryMs));
    }
}

/// 5 (ERROR_ACCESS_DENIED) when another has it.
uint32_t CPipeListener::_TakeName() {
    const uint32_t error = _MakeInstance(FILE_FLAG_FIRST_PIPE_INSTANCE, m_instance);
    if (error != ERROR_SUCCESS) return error;
    // Wine lets a second process pass in spite of the flag.
    DWORD instances = 0;
    if (!GetNamedPipeHandleStateW(m_instance.Get(), nullptr, &instances, nullptr, nullptr, nullptr, 0)) {
        return GetLastError();
    }
    if (instances == 1) return ERROR_SUCCESS;
    m_instance.Reset();
    return ERROR_ACCESS_DENIED;
}

FileHandle CPipeListener::Accept(HANDLE roused) {
    if (!_Listen()) {
        WaitForSingleObject(roused, kRetryMs);
        return {};
    }
    if (m_pending) {
        const HANDLE handles[] = {roused, m_connected.Get()};
        if (WaitForMultipleObjects(2, handles, FALSE, INFINITE) != WAIT_OBJECT_0 + 1) return {};
        m_pending = false;
        DWORD ignored = 0;
        if (!GetOverlappedResult(m_instance.Get(), &m_overlapped, &ignored, FALSE)) {
            _Refuse();
            return {};
        }
    }
    // The successor first: without one the client is refused, since its instance alone holds the name.
    FileHandle successor;
    const uint32_t error = _MakeInstance(0, successor);
    if (error != ERROR_SUCCESS) {
        TRACE_SCOPE("CPipeListener::Accept");
        TRACE_LINE(trace::kWarning, L"A client of %s is refused: 0x%x", m_path.c_str(), error);
        _Refuse();
        return {};
    }
    FileHandle client = std::exchange(m_instance, std::move(successor));
    m_listening = false;
    _Listen();  // at once: the next client finds somebody who listens
    return client;
}

void CPipeListener::_Refuse() {
    DisconnectNamedPipe(m_instance.Get());
    m_listening = false;
}

uint32_t CPipeListener::_MakeInstance(DWORD firstFlag, FileHandle& out) {
    SECURITY_ATTRIBUTES security = {sizeof(security), m_security.Get(), FALSE};
    out.Reset(
        CreateNamedPipeW(m_path.c_str(), PIPE_ACCESS_DUPLEX | FILE_FLAG_OVERLAPPED | firstFlag,
                         PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE | PIPE_WAIT | PIPE_REJECT_REMOTE_CLIENTS,
                         kMostInstances, kBufferBytes, kBufferBytes, 0, &security));
    return out ? ERROR_SUCCESS : GetLastError();
}

bool CPipeListener::_Listen() {
    if (m_listening) return true;
    uint32_t error = _BeginConnect();
    if (error == ERROR_NO_DATA) {  // a client came and went
        _Refuse();
        error = _BeginConnect();
    }
    m_listening = error == ERROR_SUCCESS;
    if (!m_listening && !m_inTrouble) {
        TRACE_SCOPE("CPipeListener::_Listen");
        TRACE_LINE(trace::kWarning, L"No client can connect to %s for now: 0x%x", m_path.c_str(), error);
    }
    m_inTrouble = !m_listening;
    return m_listening;
}

uint32_t CPipeListener::_BeginConnect() {
    m_overlapped = {};
    m_overlapped.hEvent = m_connected.Get();
    if (ConnectNamedPipe(m_instance.Get(), &m_overlapped)) return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    m_pending = error == ERROR_IO_PENDING;
    return m_pending || error == ERROR_PIPE_CONNECTED ? ERROR_SUCCESS : error;
}

}  // namespace host
