#include "boottime/event_log_library.h"

#include <type_traits>

namespace boottime {

namespace {

constexpr const wchar_t* kTimePath = L"Event/System/TimeCreated/@SystemTime";
constexpr const wchar_t* kBootTimePath = L"Event/EventData/Data[@Name=\"BootTime\"]";

template <class Pointer>
bool Resolve(HMODULE library, const char* name, Pointer& function) {
    function = optimizer::GetExport<std::remove_pointer_t<Pointer>>(library, name);
    return function != nullptr;
}

}  // namespace

bool EventLogLibrary::Bind() {
    library.Reset(LoadLibraryW(fileName));
    const HMODULE from = library.Get();
    const bool bound = from != nullptr && Resolve(from, "EvtCreateRenderContext", createRenderContext) &&
                       Resolve(from, "EvtRender", render) && Resolve(from, "EvtClose", close) &&
                       Resolve(from, "EvtQuery", query) && Resolve(from, "EvtNext", next) &&
                       Resolve(from, "EvtSubscribe", subscribe) &&
                       Resolve(from, "EvtCreateBookmark", createBookmark) &&
                       Resolve(from, "EvtUpdateBookmark", updateBookmark);
    if (!bound) *this = {};
    return bound;
}

void EventLogHandle::Reset(EVT_HANDLE handle) {
    const EVT_HANDLE old = std::exchange(m_handle, handle);
    if (old == nullptr) return;
    const DWORD lastError = GetLastError();
    m_library->close(old);
    SetLastError(lastError);
}

EventValue RenderValue(const EventLogLibrary& library, EVT_HANDLE event, const wchar_t* path) {
    const EventLogHandle context(&library, library.createRenderContext(1, &path, EvtRenderContextValues));
    if (!context) return nullptr;
    DWORD neededBytes = 0;
    DWORD count = 0;
    if (!library.render(context.Get(), event, EvtRenderEventValues, 0, nullptr, &neededBytes, &count) &&
        GetLastError() != ERROR_INSUFFICIENT_BUFFER) {
        return nullptr;
    }
    if (neededBytes < sizeof(EVT_VARIANT)) return nullptr;
    EventValue value(static_cast<EVT_VARIANT*>(std::malloc(neededBytes)));
    if (value == nullptr) return nullptr;
    const BOOL rendered = library.render(context.Get(), event, EvtRenderEventValues, neededBytes, value.get(),
                                         &neededBytes, &count);
    if (!rendered || count == 0) return nullptr;
    return value;
}

bool RenderTime(const EventLogLibrary& library, EVT_HANDLE event, FILETIME& time) {
    const EventValue value = RenderValue(library, event, kTimePath);
    if (value == nullptr || value->Type != EvtVarTypeFileTime) return false;
    time = {static_cast<DWORD>(value->FileTimeVal), static_cast<DWORD>(value->FileTimeVal >> 32)};
    return true;
}

bool RenderBootTime(const EventLogLibrary& library, EVT_HANDLE event, uint32_t& timeMs) {
    const EventValue value = RenderValue(library, event, kBootTimePath);
    if (value == nullptr || value->Type != EvtVarTypeUInt32) return false;
    timeMs = value->UInt32Val;
    return true;
}

EVT_HANDLE QueryBootEvents(const EventLogLibrary& library) {
    return library.query(nullptr, kBootChannel, kBootQuery, EvtQueryChannelPath | EvtQueryReverseDirection);
}

EVT_HANDLE NextEvent(const EventLogLibrary& library, EVT_HANDLE resultSet) {
    EVT_HANDLE event = nullptr;
    DWORD count = 0;
    if (!library.next(resultSet, 1, &event, INFINITE, 0, &count) || count == 0) return nullptr;
    return event;
}

}  // namespace boottime
