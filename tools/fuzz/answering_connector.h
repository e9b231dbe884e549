#pragma once

#include <string>
#include <vector>

#include "border/connector.h"
#include "tests/support/fake_endpoint.h"

namespace fuzz {

/// A server end in memory that takes answers with data too, and keeps only what the last message brought.
class AnsweringEnd final : public test_support::FakeEndpoint {
public:
    uint32_t replyData(const ConnectorMessage*, uint32_t, const void* data, uint32_t sizeBytes) override {
        answers.emplace_back(static_cast<const char*>(data), sizeBytes);
        return 0;
    }

    /// One message from a client. What it is answered with stands in `answers`, `replies` and `sent`.
    void Bring(uint32_t id, const std::string& payload, bool waits, uint32_t sender = 1) {
        answers.clear();
        replies.clear();
        sent.clear();
        Deliver(id, payload, waits ? ConnectorMessage::kSenderWaits : 0, sender);
    }
    /// Whether it brought more than an error.
    bool IsAnswered() const {
        return !answers.empty() || (!replies.empty() && replies.back() == 0) || !sent.empty();
    }

    std::vector<std::string> answers;
};

struct AnsweringConnector final : IConnectorServer {
    void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
    ConnectorEndpoint* registerPipe(const wchar_t*, const wchar_t*) override { return &end; }
    void unregisterPipe(ConnectorEndpoint*) override {}

    AnsweringEnd end;
};

}  // namespace fuzz
