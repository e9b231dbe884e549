#pragma once

#include <cstdint>
#include <string>

#include "frame/handles.h"

namespace host {

/// Waits for changes of the files in a folder. One thread at a time.
class CFolderWatch {
public:
    explicit CFolderWatch(std::wstring folder);

    /// Blocks until something has changed and nothing changed for a moment after that, so that what somebody
    /// writes in several steps is met whole. Also returns when the folder could not be watched meanwhile, or
    /// after `timeoutMs`. False when `stop` is signalled.
    bool WaitForChange(HANDLE stop, uint32_t timeoutMs);

private:
    struct NotificationTraits {
        using Type = HANDLE;
        static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
        static void Close(Type handle) { FindCloseChangeNotification(handle); }
    };

    void _Watch();

    const std::wstring m_folder;
    optimizer::UniqueHandle<NotificationTraits> m_changes;
    bool m_isRefused = false;
};

}  // namespace host
