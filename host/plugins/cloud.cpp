#include "plugins/cloud.h"

#include <cwchar>
#include <new>

#include "border/product_info.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/plugin_request.h"
#include "plugins/velora.h"

namespace host {

namespace trace = optimizer::trace;

namespace {

constexpr const wchar_t* kProductInfo = L"productinfo";
constexpr int32_t kProductKind = 0;
constexpr const wchar_t* kAddressKey = L"CLOUD";

}  // namespace

CCloud::CCloud() {
    m_log.Get();
}

void* CCloud::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<ICloud>(this, iid);
}

uint32_t CCloud::Init(IServMain* main) {
    return optimizer::Guarded([&]() -> uint32_t {
        TRACE_SCOPE("CCloud::Init");
        IComponentManager* const components = main != nullptr ? main->GetComponentManager() : nullptr;
        if (components == nullptr) {
            TRACE_LINE(trace::kError, L"Component Manager is null!");
            return ERROR_INVALID_HANDLE;
        }
        _ReadAddress(components);
        return ERROR_SUCCESS;
    });
}

void CCloud::_ReadAddress(IComponentManager* components) {
    TRACE_SCOPE("CCloud::_ReadAddress");
    m_server.reset();
    auto* const product = optimizer::RequestPlugin<IProductInfo>(components, kProductInfo);
    if (product == nullptr) return;
    const wchar_t* const value = product->GetValue(kProductKind, kAddressKey);
    const std::wstring address = value != nullptr ? value : L"";
    components->ReleasePlugin(kProductInfo);
    if (address.empty()) {
        TRACE_LINE(trace::kInformation, L"No server is set; nothing is sent.");
        return;
    }
    ServerAddress server;
    if (ParseServerAddress(address, server)) {
        m_server = server;
    } else {
        TRACE_LINE(trace::kError,
                   L"The server's address %s is not of the form https://name/path; nothing is sent.",
                   address.c_str());
    }
}

void* CCloud::GetInterface(const wchar_t* name) {
    if (name == nullptr || std::wcscmp(name, kVeloraName) != 0) return nullptr;
    return static_cast<IVelora*>(new (std::nothrow) CVelora(m_server ? &*m_server : nullptr));
}

}  // namespace host
