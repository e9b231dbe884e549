#pragma once

#include "border/boot_time.h"
#include "border/connector.h"
#include "border/host.h"
#include "comm/boot_time_messages.h"
#include "comm/byte_stream.h"
#include "comm/pipe_server.h"
#include "frame/deleting_destructor.h"

namespace boottime {

/// Component "boottimecomm": the operations of plug-in "boottime" on the pipe kBootTimePipe, and its one
/// event to every client. The host calls Init, Start, Stop and UnInit in this order, once each, and frees it
/// without a destructor.
///
/// Requests come on the connector's threads and reach the plug-in side by side; the event comes on the thread
/// that measured. No lock of its own. Stop blocks until no request is being answered.
class CBootTimeComm final : public optimizer::WithDeletingDestructor<CBootTimeComm, IBootTimeComm>,
                            public IBootTimeEvents {
public:
    void* QueryInterface(const Identifier* iid) override;
    /// 0, 31 for a missing host object, or the error of the request for a plug-in.
    uint32_t Init(IServMain* main) override;
    void UnInit() override;
    /// 0, or 31 when the pipe can't be served.
    uint32_t Start() override;
    uint32_t Stop() override;

    void OnDataAnalysed(uint32_t status) override;

    /// Takes one message from the pipe.
    uint32_t NpcCallback(const ConnectorMessage* message);

private:
    /// One row of the table for each request.
    struct Request {
        NpcMsg id;
        NpcMsg errorId;
        const wchar_t* name;
        const wchar_t* failed;  // trace of a failure
        /// Asks the plug-in and packs what it says.
        uint32_t (CBootTimeComm::*ask)(const ConnectorMessage* message, optimizer::CByteStream& answer);
    };
    static const Request kRequests[];

    static uint32_t _Receive(void* context, const ConnectorMessage* message) noexcept;
    void _Answer(const ConnectorMessage* message, const Request& request);

    uint32_t _GetBootTime(const ConnectorMessage* message, optimizer::CByteStream& answer);
    uint32_t _GetTotalBootImpact(const ConnectorMessage* message, optimizer::CByteStream& answer);
    uint32_t _GetBootImpact(const ConnectorMessage* message, optimizer::CByteStream& answer);
    uint32_t _GetDiskSpeed(const ConnectorMessage* message, optimizer::CByteStream& answer);

    IBootTime* m_bootTime = nullptr;
    optimizer::CPipeServer m_server;
};

}  // namespace boottime
