#pragma once

#include <cstdlib>
#include <memory>
#include <utility>

#include "frame/handles.h"

#include <winevt.h>

namespace boottime {

/// The functions of the event log that older systems lack, bound by name.
struct EventLogLibrary {
    /// Called once. False when the library or one of the functions is missing; nothing stays bound then.
    bool Bind();

    const wchar_t* fileName = L"Wevtapi.dll";
    optimizer::Library library;
    decltype(&EvtCreateRenderContext) createRenderContext = nullptr;
    decltype(&EvtRender) render = nullptr;
    decltype(&EvtClose) close = nullptr;
    decltype(&EvtQuery) query = nullptr;
    decltype(&EvtNext) next = nullptr;
    decltype(&EvtSubscribe) subscribe = nullptr;
    decltype(&EvtCreateBookmark) createBookmark = nullptr;
    decltype(&EvtUpdateBookmark) updateBookmark = nullptr;
};

/// Owns a handle of the event log and closes it through the table that it came from, which must outlive it.
/// Closing leaves the thread's last error as it was.
class EventLogHandle final {
public:
    explicit EventLogHandle(const EventLogLibrary* library, EVT_HANDLE handle = nullptr)
        : m_handle(handle), m_library(library) {}
    EventLogHandle(const EventLogHandle&) = delete;
    EventLogHandle& operator=(const EventLogHandle&) = delete;
    ~EventLogHandle() { Reset(); }

    EVT_HANDLE Get() const { return m_handle; }
    explicit operator bool() const { return m_handle != nullptr; }
    void Reset(EVT_HANDLE handle = nullptr);

private:
    EVT_HANDLE m_handle;
    const EventLogLibrary* m_library;
};

struct FreeMemory {
    void operator()(void* memory) const noexcept { std::free(memory); }
};
using EventValue = std::unique_ptr<EVT_VARIANT, FreeMemory>;

/// The value at a path within an event; null when there is none.
EventValue RenderValue(const EventLogLibrary& library, EVT_HANDLE event, const wchar_t* path);
/// When the event was written; false when that can't be told.
bool RenderTime(const EventLogLibrary& library, EVT_HANDLE event, FILETIME& time);
/// The boot time that the event tells, in milliseconds; false when it tells none.
bool RenderBootTime(const EventLogLibrary& library, EVT_HANDLE event, uint32_t& timeMs);

inline constexpr const wchar_t* kBootChannel = L"Microsoft-Windows-Diagnostics-Performance/Operational";
inline constexpr const wchar_t* kBootQuery = L"Event/System[EventID=100]";

/// The boot events of the channel, the newest first; null when it can't be read.
EVT_HANDLE QueryBootEvents(const EventLogLibrary& library);
/// The next event of a result set; null when there is none left.
EVT_HANDLE NextEvent(const EventLogLibrary& library, EVT_HANDLE resultSet);

}  // namespace boottime
