#pragma once

#include "frame/handles.h"

#include <wtsapi32.h>

namespace optimizer {

/// What Terminal Services hand out; whoever uses it links wtsapi32.
template <class Pointer>
struct WtsMemoryTraits {
    using Type = Pointer;
    static Type Invalid() { return nullptr; }
    static void Close(Type memory) { WTSFreeMemory(memory); }
};

using WtsText = UniqueHandle<WtsMemoryTraits<wchar_t*>>;
using WtsSessions = UniqueHandle<WtsMemoryTraits<WTS_SESSION_INFOW*>>;

}  // namespace optimizer
