#pragma once

#include <string>

#include "frame/critical_section.h"
#include "tools/rig/scratch_services.h"

namespace host {

/// What another thread tells, as one text.
struct Told {
    void Add(const std::wstring& more) {
        const optimizer::CriticalSectionGuard guard(lock);
        text += more;
    }
    /// Waits until exactly this has been told, and forgets it.
    bool Hears(const std::wstring& expected) {
        return rig::WaitUntil([&] {
            const optimizer::CriticalSectionGuard guard(lock);
            return text == expected && (text.clear(), true);
        });
    }

    optimizer::CCriticalSection lock;
    std::wstring text;  // guarded by lock
};

}  // namespace host
