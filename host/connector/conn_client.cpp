#include "connector/conn_client.h"

#include <algorithm>
#include <memory>
#include <string>
#include <utility>

#include <windows.h>

#include "connector/deadline.h"
#include "connector/pipe_access.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/trace.h"
#include "host/pipe_holder/pipe_holder.h"

namespace host {

using optimizer::FileHandle;

namespace trace = optimizer::trace;

namespace {

/// Between two looks for a pipe that nobody serves yet.
constexpr DWORD kLookAgainMs = 20;

/// Waits for a server to show up, or for one that is busy with other clients.
uint32_t OpenPipe(const std::wstring& path, const CDeadline& deadline, FileHandle& out) {
    for (;;) {
        // A process that serves the name in the service's place must not act in the client's name.
        out.Reset(CreateFileW(path.c_str(), kClientAccess, 0, nullptr, OPEN_EXISTING,
                              FILE_FLAG_OVERLAPPED | SECURITY_SQOS_PRESENT | SECURITY_IDENTIFICATION,
                              nullptr));
        const DWORD error = out ? ERROR_SUCCESS : GetLastError();
        if (error != ERROR_FILE_NOT_FOUND && error != ERROR_PIPE_BUSY) return error;
        const DWORD leftMs = deadline.LeftMs();
        if (leftMs == 0) return error;
        if (error == ERROR_PIPE_BUSY) {
            WaitNamedPipeW(path.c_str(), leftMs);
        } else {
            Sleep(std::min(leftMs, kLookAgainMs));
        }
    }
}

/// A process that took the name before the service did could answer anything, and hear what is asked. Nothing
/// is sent to it. 1307 (ERROR_INVALID_OWNER) then.
uint32_t CheckServer(HANDLE pipe, const std::wstring& path) {
    PipeHolder holder = {PipeOwner(pipe)};
    if (MayServe(holder.owner)) return ERROR_SUCCESS;
    if (!GetNamedPipeServerProcessId(pipe, &holder.process)) holder.process = 0;
    TRACE_SCOPE("CConnClient::CheckServer");
    TRACE_LINE(trace::kError,
               L"Nothing is said to %s: it is served by %s, and that is neither SYSTEM nor an administrator "
               L"nor this process's account",
               path.c_str(), HolderText(holder).c_str());
    return ERROR_INVALID_OWNER;
}

uint32_t Connect(const wchar_t* pipeName, uint32_t timeoutMs, std::unique_ptr<CClientEndpoint>& out) {
    const CDeadline deadline(timeoutMs);
    const std::wstring path = PipePath(pipeName);
    if (path.empty()) return ERROR_INVALID_PARAMETER;
    for (;;) {
        FileHandle pipe;
        uint32_t error = OpenPipe(path, deadline, pipe);
        if (error == ERROR_SUCCESS) error = CheckServer(pipe.Get(), path);
        if (error != ERROR_SUCCESS) return error;
        DWORD mode = PIPE_READMODE_MESSAGE;
        if (SetNamedPipeHandleState(pipe.Get(), &mode, nullptr, nullptr)) {
            out = std::make_unique<CClientEndpoint>(std::move(pipe));
            error = out->Open(deadline.LeftMs());
        } else {
            error = GetLastError();
        }
        if (error == ERROR_SUCCESS) return error;
        out.reset();
        // A server that is just going away may be followed by the next.
        if (deadline.LeftMs() == 0) return error;
        Sleep(std::min(deadline.LeftMs(), kLookAgainMs));
    }
}

}  // namespace

void* CConnClient::QueryInterface(const Identifier* iid) {
    if (iid != nullptr && *iid == IConnectionWatch::kIdentifier) return static_cast<IConnectionWatch*>(this);
    return optimizer::AnswerFor<IConnectorClient>(this, iid);
}

ConnectorEndpoint* CConnClient::connectPipe(const wchar_t* pipeName, uint64_t /*reserved*/,
                                            const wchar_t* /*commonPipeName*/, uint32_t timeoutMs) {
    TRACE_SCOPE("CConnClient::connectPipe");
    ConnectorEndpoint* connected = nullptr;
    const uint32_t error = optimizer::Guarded([&]() -> uint32_t {
        std::unique_ptr<CClientEndpoint> endpoint;
        const uint32_t opened = Connect(pipeName, timeoutMs, endpoint);
        if (opened == ERROR_SUCCESS) connected = m_endpoints.Add(std::move(endpoint));
        return opened;
    });
    if (connected == nullptr) {
        TRACE_LINE(trace::kInformation, L"Pipe %s can't be reached: 0x%x",
                   pipeName != nullptr ? pipeName : L"", error);
        SetLastError(error);
    }
    return connected;
}

uint32_t CConnClient::LostConnections() {
    return static_cast<uint32_t>(
        m_endpoints.CountIf([](const CClientEndpoint& endpoint) { return endpoint.IsOver(); }));
}

void CConnClient::disconnectPipe(ConnectorEndpoint* endpoint) {
    TRACE_SCOPE("CConnClient::disconnectPipe");
    m_endpoints.Remove(endpoint).reset();
}

}  // namespace host
