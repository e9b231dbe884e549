#include "plugins/velora.h"

#include <memory>
#include <new>

#include <windows.h>

#include "frame/guarded.h"
#include "plugins/http_exchange.h"

struct VeloraRequest {
    static constexpr uint32_t kDefaultTimeoutMs = 10000;

    host::HttpQuestion question = {{}, {}, kDefaultTimeoutMs};
    bool isComplete = true;  // false when there wasn't the memory for what was set
};

struct VeloraResponse {
    host::HttpAnswer answer;
};

namespace host {

namespace {

void Assign(VeloraRequest& request, std::string& field, const void* data, size_t sizeBytes) {
    const auto assign = [&] {
        field.assign(static_cast<const char*>(data), sizeBytes);
        return uint32_t{ERROR_SUCCESS};
    };
    if (optimizer::Guarded(assign) != ERROR_SUCCESS) request.isComplete = false;
}

}  // namespace

void CVelora::Release() {
    delete this;
}

int32_t CVelora::Ask(VeloraRequest* request, VeloraResponse** response) {
    return static_cast<int32_t>(optimizer::Guarded([&]() -> uint32_t {
        if (request == nullptr || response == nullptr) return ERROR_INVALID_PARAMETER;
        if (!request->isComplete) return ERROR_OUTOFMEMORY;
        if (m_server == nullptr) return ERROR_NOT_FOUND;
        auto answered = std::make_unique<VeloraResponse>();
        const uint32_t error = PerformExchange(*m_server, request->question, answered->answer);
        if (error == ERROR_SUCCESS) *response = answered.release();
        return error;
    }));
}

VeloraRequest* CVelora::RequestCreate() {
    return new (std::nothrow) VeloraRequest;
}

void CVelora::RequestDestroy(VeloraRequest* request) {
    delete request;
}

void CVelora::RequestSetTimeout(VeloraRequest* request, uint32_t timeoutMs) {
    request->question.timeoutMs = timeoutMs;
}

void CVelora::RequestSetTarget(VeloraRequest* request, const char* path) {
    Assign(*request, request->question.path, path, std::char_traits<char>::length(path));
}

void CVelora::RequestSetBody(VeloraRequest* request, const void* data, uint32_t sizeBytes) {
    Assign(*request, request->question.body, data, sizeBytes);
}

void CVelora::FreeResponse(VeloraResponse* response) {
    delete response;
}

int32_t CVelora::ResponseGetStatus(VeloraResponse* response) {
    const uint32_t status = response->answer.status;
    return IsSuccess(status) ? 0 : static_cast<int32_t>(status);
}

int32_t CVelora::ResponseGetPart(VeloraResponse* response, uint32_t index, const void** data,
                                 uint32_t* sizeBytes) {
    const auto& parts = response->answer.parts;
    if (index >= parts.size()) return kNoMoreParts;
    *data = parts[index].data();
    *sizeBytes = static_cast<uint32_t>(parts[index].size());
    return 0;
}

}  // namespace host
