#pragma once

#include "border/host.h"
#include "frame/trace.h"

namespace optimizer {

/// Asks the component manager for a plug-in; null when there is no manager or the request fails, which is
/// traced. Whoever gets one gives it back with ReleasePlugin of the same name.
template <class Interface>
[[nodiscard]] Interface* RequestPlugin(IComponentManager* components, const wchar_t* name) {
    TRACE_SCOPE("RequestPlugin");
    if (components == nullptr) return nullptr;
    void* plugin = nullptr;
    const uint32_t error = components->GetPlugin(name, &Interface::kIdentifier, &plugin);
    if (error == 0) return static_cast<Interface*>(plugin);
    TRACE_LINE(trace::kError, L"GetPlugin %s failed 0x%x", name, error);
    return nullptr;
}

}  // namespace optimizer
