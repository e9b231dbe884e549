#include "cloud/cloud_request.h"

#include <utility>

#include "cloud/cloud_factory.h"
#include "cloud/token_mask.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr uint32_t kTimeoutMs = 10000;

}  // namespace

/// What one Exec takes from the library, given back at its end.
class CCloudRequest::Exchange {
public:
    Exchange() = default;
    ~Exchange() {
        if (response != nullptr && velora != nullptr) velora->FreeResponse(response);
        if (request != nullptr) velora->RequestDestroy(request);
        if (velora != nullptr) velora->Release();
    }
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    IVelora* velora = nullptr;
    VeloraRequest* request = nullptr;
    VeloraResponse* response = nullptr;
};

CCloudRequest::CCloudRequest(std::string path, ICloudRequestObserver* observer)
    : m_path(std::move(path)), m_velora(CCloudFactory::GetInstance().GetRequest()), m_observer(observer) {
    TRACE_SCOPE("CCloudRequest::CCloudRequest");
    if (m_velora == nullptr) {
        TRACE_LINE(trace::kError, L"CCloudFactory::GetInstance::GetRequest failed");
        return;
    }
    m_request = m_velora->RequestCreate();
    if (m_request == nullptr) TRACE_LINE(trace::kError, L"IVelora::RequestCreate failed");
}

CCloudRequest::~CCloudRequest() {
    if (m_request != nullptr) m_velora->RequestDestroy(m_request);
    if (m_velora != nullptr) m_velora->Release();
}

void CCloudRequest::Exec(const std::string& body, std::string& response) {
    TRACE_SCOPE("CCloudRequest::Exec");
    TRACE_LINE(trace::kInformation, L"Request: %S", WithoutToken(body, body).c_str());
    Exchange exchange;
    exchange.velora = CCloudFactory::GetInstance().GetRequest();
    if (exchange.velora == nullptr) {
        TRACE_LINE(trace::kError, L"CCloudFactory::GetInstance::GetRequest failed");
        return;
    }
    IVelora& velora = *exchange.velora;
    exchange.request = velora.RequestCreate();
    if (exchange.request == nullptr) {
        TRACE_LINE(trace::kError, L"IVelora::RequestCreate failed");
        return;
    }
    velora.RequestSetTarget(exchange.request, m_path.c_str());
    velora.RequestSetBody(exchange.request, body.data(), static_cast<uint32_t>(body.size()));
    velora.RequestSetTimeout(exchange.request, kTimeoutMs);

    const int32_t error = velora.Ask(exchange.request, &exchange.response);
    if (error != 0) {
        TRACE_LINE(trace::kError, L"IVelora::Ask failed %d", error);
        return;
    }
    const int32_t status = velora.ResponseGetStatus(exchange.response);
    if (status != 0) {
        TRACE_LINE(trace::kError, L"IVelora::ResponseGetStatus status=%d", status);
        return;
    }
    for (uint32_t i = 0;; ++i) {
        // Afresh for each part: one that can't be had may leave them as they are.
        const void* data = nullptr;
        uint32_t sizeBytes = 0;
        if (velora.ResponseGetPart(exchange.response, i, &data, &sizeBytes) == IVelora::kNoMoreParts) break;
        if (data != nullptr && sizeBytes != 0) response.append(static_cast<const char*>(data), sizeBytes);
    }
    TRACE_LINE(trace::kInformation, L"Response: %S", WithoutToken(response, body).c_str());
}

}  // namespace optimizer
