#pragma once

#include <atomic>

#include "border/connector.h"
#include "border/host.h"

namespace optimizer {

/// A server component's end of its pipe, and the plug-in whose operations it puts there.
///
/// The component calls Init, Start, Stop and UnInit in this order; the answers come from the connector's
/// threads, broadcasts from any, while the pipe is served. No lock of its own.
class CPipeServer final {
public:
    CPipeServer() = default;
    CPipeServer(const CPipeServer&) = delete;
    CPipeServer& operator=(const CPipeServer&) = delete;

    /// Fetches the plug-in, whose pointer goes to `*plugin`, and the connector. 0, 31 for a missing host
    /// object, or the error of a request; after an error the component calls its UnInit.
    uint32_t Init(IServMain* main, const wchar_t* name, const Identifier& iid, void** plugin);
    /// Releases what Init fetched.
    void UnInit();
    /// Serves the pipe: 0, or 31 when it can't be served.
    uint32_t Start(const wchar_t* pipe, ConnectorCallback* receive, void* context);
    /// Blocks until no request is being answered.
    void Stop();

    void ReplyStatus(const ConnectorMessage* message, uint32_t status);
    /// To a sender that waits as the reply, with 31 in place of data that the pipe doesn't take; to another
    /// as a message of the same number. False when the data is too large to go out.
    bool Answer(const ConnectorMessage* message, const void* data, uint32_t sizeBytes);
    /// A sender that doesn't wait hears the status under a number of its own.
    void AnswerStatus(const ConnectorMessage* message, uint32_t status, uint32_t answerId);
    /// To every client; to nobody while the pipe isn't served.
    void Broadcast(uint32_t id, const void* data, uint32_t sizeBytes);

private:
    IComponentManager* m_components = nullptr;
    const wchar_t* m_name = nullptr;  // of the plug-in that is held
    IConnectorServer* m_connector = nullptr;
    std::atomic<ConnectorEndpoint*> m_endpoint = nullptr;  // null outside Start and Stop
};

}  // namespace optimizer
