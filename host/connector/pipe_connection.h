#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

#include "border/client_watch.h"
#include "connector/client_origin.h"
#include "connector/frame_reader.h"
#include "connector/frame_sender.h"
#include "connector/send_budget.h"
#include "connector/worker_thread.h"
#include "connector/write_completions.h"
#include "frame/handles.h"

namespace host {

class CPipeConnection;

/// What a connection tells the endpoint that owns it, on the connection's thread.
struct IConnectionEvents {
    /// `bytes` is the frame from its header on, for the endpoint to use up. False for one that isn't for this
    /// end; it then counts as unsound.
    virtual bool OnFrame(CPipeConnection& connection, const FrameHeader& header, uint8_t* bytes) = 0;
    /// What came isn't a frame; the connection ends. May throw std::bad_alloc.
    virtual void OnUnsound(CPipeConnection& connection) = 0;
    /// Wake was called.
    virtual void OnWoken() = 0;
    /// Nothing follows.
    virtual void OnOver() = 0;

protected:
    ~IConnectionEvents() = default;
};

/// One client and one server, joined by a pipe, seen from either end. Its thread reads, and calls the
/// endpoint for what it read; any thread sends. The owner calls End before it lets go; another holder may
/// keep the object longer and finds it closed.
class CPipeConnection {
public:
    enum class Side { Server, Client };

    /// `id` tells a server's clients apart.
    CPipeConnection(optimizer::FileHandle pipe, Side side, uint32_t id, IConnectionEvents& events);
    CPipeConnection(const CPipeConnection&) = delete;
    CPipeConnection& operator=(const CPipeConnection&) = delete;

    /// Makes it ready for Send. 0 or the system's error. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Open(CWriteCompletions& completions);
    /// What waits to be read by the client counts there from now on. Before Open, and of a server's
    /// connection.
    void LimitBy(std::shared_ptr<CSendBudget> budget) {
        m_budget = budget;
        m_sender.LimitBy(std::move(budget));
    }
    const std::shared_ptr<CSendBudget>& Budget() const { return m_budget; }
    /// After Open: begins to read. 0 or the system's error.
    [[nodiscard]] uint32_t Start();
    /// As CFrameSender::Send.
    [[nodiscard]] uint32_t Send(const Frame& frame) { return m_sender.Send(frame); }
    void Wake() { m_reader.Wake(); }
    /// Begins the end: nothing is sent or read any more. Any thread.
    void Drop() { m_sender.Close(); }
    /// Blocks until the client has read all that was sent, or the connection ends. Of a server's connection.
    void Flush();
    /// Drops, and throws away what the client hasn't read; a Flush returns. Of a server's connection.
    void Disconnect();
    /// Drops and blocks until the thread has ended and the pipe is closed. Not on the connection's thread.
    void End();

    uint32_t Id() const { return m_id; }
    /// This and the next two of a server's connection. The process is for people to read.
    DWORD ClientProcess() const { return m_clientProcess; }
    const ClientOrigin& Origin() const { return m_origin; }
    /// IClientWatch::kNoSession when the system doesn't tell.
    uint32_t ClientSession() const { return m_origin.session; }
    bool IsOver() const { return m_over; }

    /// The request that the receive function is given, 0 for none: the one that may be answered.
    void Expect(uint32_t call) { m_unanswered = call; }
    /// Whether `call` may be answered: true once.
    bool TakeAnswer(uint32_t call) { return call != 0 && m_unanswered.compare_exchange_strong(call, 0); }

private:
    void _Run() noexcept;
    void _Read();

    optimizer::FileHandle m_pipe;
    const Side m_side;
    const uint32_t m_id;
    DWORD m_clientProcess = 0;
    ClientOrigin m_origin = {L"", IClientWatch::kNoSession, false};
    std::shared_ptr<CSendBudget> m_budget;
    IConnectionEvents& m_events;
    std::atomic<uint32_t> m_unanswered = 0;
    std::atomic<bool> m_over = false;
    CFrameReader m_reader;
    CFrameSender m_sender;
    CWorkerThread m_thread;
};

}  // namespace host
