#pragma once

#include "border/cloud.h"
#include "plugins/server_address.h"

namespace host {

/// Interface "ivelora.1" of plug-in "icloud": posts texts to the product's server. Ended by its own Release.
/// One thread at a time.
class CVelora final : public IVelora {
public:
    /// Without a server every Ask fails, and nothing is sent. `server` must live as long as this.
    explicit CVelora(const ServerAddress* server) : m_server(server) {}
    CVelora(const CVelora&) = delete;
    CVelora& operator=(const CVelora&) = delete;

    void Release() override;
    void Reserved1() override {}
    void Reserved2() override {}
    void Reserved3() override {}
    /// 0, 1168 (ERROR_NOT_FOUND) without a server, 12002 (ERROR_WINHTTP_TIMEOUT), or another error of the
    /// exchange.
    int32_t Ask(VeloraRequest* request, VeloraResponse** response) override;
    VeloraRequest* RequestCreate() override;
    void RequestDestroy(VeloraRequest* request) override;
    void RequestSetTimeout(VeloraRequest* request, uint32_t timeoutMs) override;
    void Reserved8() override {}
    void RequestSetTarget(VeloraRequest* request, const char* path) override;
    void Reserved10() override {}
    void Reserved11() override {}
    void Reserved12() override {}
    void RequestSetBody(VeloraRequest* request, const void* data, uint32_t sizeBytes) override;
    void FreeResponse(VeloraResponse* response) override;
    /// 0 for success, otherwise HTTP's status code.
    int32_t ResponseGetStatus(VeloraResponse* response) override;
    int32_t ResponseGetPart(VeloraResponse* response, uint32_t index, const void** data,
                            uint32_t* sizeBytes) override;

private:
    ~CVelora() = default;

    const ServerAddress* m_server;
};

}  // namespace host
