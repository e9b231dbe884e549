#include "framework/serv_main.h"

#include "frame/trace.h"

namespace host {

CServMain::CServMain() {
    m_log.Get();  // keeps the log bound for as long as the host lives
}

CServMain::~CServMain() {
    TRACE_SCOPE("CServMain::~CServMain");
    m_queue.Stop();
    m_loader.UnloadPlugins();
}

void* CServMain::QueryInterface(const Identifier* iid) {
    if (iid == nullptr) return nullptr;
    if (*iid == IVxBaseInterface::kIdentifier || *iid == IServMain::kIdentifier) {
        return static_cast<IServMain*>(this);
    }
    return *iid == IHostDiagnostics::kIdentifier ? static_cast<IHostDiagnostics*>(this) : nullptr;
}

}  // namespace host
