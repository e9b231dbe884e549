#include "connector/pipe_connection.h"

#include <exception>
#include <utility>

#include <windows.h>

namespace host {

namespace {

/// The process's own where the system keeps none for the pipe.
uint32_t SessionOfClient(HANDLE pipe, DWORD process) {
    ULONG session = IClientWatch::kNoSession;
    if (GetNamedPipeClientSessionId(pipe, &session)) return session;
    DWORD own = IClientWatch::kNoSession;
    return ProcessIdToSessionId(process, &own) ? own : IClientWatch::kNoSession;
}

}  // namespace

CPipeConnection::CPipeConnection(optimizer::FileHandle pipe, Side side, uint32_t id,
                                 IConnectionEvents& events)
    : m_pipe(std::move(pipe)), m_side(side), m_id(id), m_events(events), m_sender(m_pipe.Get(), m_reader) {
    if (side != Side::Server) return;
    GetNamedPipeClientProcessId(m_pipe.Get(), &m_clientProcess);
    m_origin = OriginOf(m_pipe.Get(), SessionOfClient(m_pipe.Get(), m_clientProcess));
}

uint32_t CPipeConnection::Open(CWriteCompletions& completions) {
    const uint32_t error = m_reader.Open(m_pipe.Get());
    return error == ERROR_SUCCESS ? completions.Add(m_pipe.Get(), &m_sender) : error;
}

uint32_t CPipeConnection::Start() {
    return m_thread.Start<&CPipeConnection::_Run>(this);
}

void CPipeConnection::Flush() {
    m_sender.WaitUntilQuiet();
    FlushFileBuffers(m_pipe.Get());
}

void CPipeConnection::Disconnect() {
    Drop();
    DisconnectNamedPipe(m_pipe.Get());
}

void CPipeConnection::End() {
    Drop();
    m_thread.Join();
    m_sender.WaitUntilQuiet();
    // Sets the pipe's instance free even while the client keeps its end open, so that the name can be
    // registered anew.
    if (m_side == Side::Server && m_pipe) DisconnectNamedPipe(m_pipe.Get());
    m_pipe.Reset();
}

void CPipeConnection::_Run() noexcept {
    try {
        _Read();
    } catch (const std::exception&) {  // out of memory: the peer sees the pipe end
    }
    m_reader.Abandon();
    Drop();
    m_over = true;
    m_events.OnOver();
}

void CPipeConnection::_Read() {
    for (;;) {
        const CFrameReader::Event event = m_reader.Next();
        if (event == CFrameReader::Event::End) return;
        if (event == CFrameReader::Event::Woken) {
            m_events.OnWoken();
        } else if (event == CFrameReader::Event::Unsound ||
                   !m_events.OnFrame(*this, m_reader.Header(), m_reader.Bytes())) {
            m_events.OnUnsound(*this);
            return;
        }
    }
}

}  // namespace host
