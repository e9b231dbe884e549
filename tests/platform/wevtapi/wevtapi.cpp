// An event log in memory with one channel, which fails on demand.
#include <cstring>
#include <string_view>

#include <windows.h>

#include <winevt.h>

#include "tests/support/simulated_events.h"

namespace {

SimulatedEvents g_log;
EVT_SUBSCRIBE_CALLBACK g_callback = nullptr;

/// What a handle points to: a result set, an event, a path to render, a bookmark or the subscription.
struct Object {
    int position = 0;
    SimulatedEvent event = {};
    const wchar_t* path = nullptr;
    bool isSubscription = false;
};

bool Works(const char* name) {
    if (g_log.failing == nullptr || std::strcmp(g_log.failing, name) != 0) return true;
    SetLastError(ERROR_ACCESS_DENIED);
    return false;
}

EVT_HANDLE Open(const Object& object) {
    ++g_log.openHandles;
    return new Object(object);
}

Object& At(EVT_HANDLE handle) {
    return *static_cast<Object*>(handle);
}

}  // namespace

extern "C" {

__declspec(dllexport) SimulatedEvents* SimulatedLog() {
    return &g_log;
}

__declspec(dllexport) void DeliverEvent(const SimulatedEvent* event) {
    Object object{0, *event};
    if (g_log.delivery == nullptr) return;
    g_callback(EvtSubscribeActionError, const_cast<void*>(g_log.delivery), nullptr);
    g_callback(EvtSubscribeActionDeliver, const_cast<void*>(g_log.delivery), &object);
}

__declspec(dllexport) EVT_HANDLE WINAPI EvtCreateRenderContext(DWORD count, LPCWSTR* paths, DWORD flags) {
    return count == 1 && flags == 0 ? Open({0, {}, paths[0]}) : nullptr;
}

__declspec(dllexport) BOOL WINAPI EvtRender(EVT_HANDLE context, EVT_HANDLE event, DWORD, DWORD sizeBytes,
                                            void* buffer, DWORD* usedBytes, DWORD* count) {
    if (!Works("EvtRender")) return FALSE;
    *usedBytes = sizeof(EVT_VARIANT);
    *count = 1;
    if (sizeBytes < sizeof(EVT_VARIANT)) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return FALSE;
    }
    auto& value = *static_cast<EVT_VARIANT*>(buffer);
    value = {};
    const SimulatedEvent& shown = At(event).event;
    const std::wstring_view path = At(context).path;
    if (path == L"Event/System/TimeCreated/@SystemTime" && shown.writtenTicks != 0) {
        value.Type = EvtVarTypeFileTime;
        value.FileTimeVal = shown.writtenTicks;
    } else if (path == L"Event/EventData/Data[@Name=\"BootTime\"]" && shown.bootTimeMs != 0) {
        value.Type = EvtVarTypeUInt32;
        value.UInt32Val = shown.bootTimeMs;
    }
    return TRUE;
}

__declspec(dllexport) BOOL WINAPI EvtClose(EVT_HANDLE handle) {
    --g_log.openHandles;
    if (At(handle).isSubscription) g_log.delivery = nullptr;
    delete &At(handle);
    return TRUE;
}

__declspec(dllexport) EVT_HANDLE WINAPI
    EvtQuery(EVT_HANDLE session, LPCWSTR channel, LPCWSTR query, DWORD flags) {
    const bool isAsked =
        session == nullptr && flags == 0x201 &&
        channel == std::wstring_view(L"Microsoft-Windows-Diagnostics-Performance/Operational") &&
        query == std::wstring_view(L"Event/System[EventID=100]");
    return isAsked && Works("EvtQuery") ? Open({}) : nullptr;
}

__declspec(dllexport) BOOL WINAPI
    EvtNext(EVT_HANDLE resultSet, DWORD, EVT_HANDLE* events, DWORD, DWORD, DWORD* count) {
    int& position = At(resultSet).position;
    if (position == g_log.count || !Works("EvtNext")) return FALSE;
    events[0] = Open({0, g_log.events[position++]});
    *count = 1;
    return TRUE;
}

__declspec(dllexport) EVT_HANDLE WINAPI
    EvtSubscribe(EVT_HANDLE, HANDLE signal, LPCWSTR, LPCWSTR, EVT_HANDLE bookmark, void* context,
                 EVT_SUBSCRIBE_CALLBACK callback, DWORD flags) {
    if (signal != nullptr || flags != 3 || bookmark == nullptr || !Works("EvtSubscribe")) return nullptr;
    g_callback = callback;
    g_log.delivery = context;
    g_log.bookmark = At(bookmark).event.writtenTicks;
    ++g_log.subscriptions;
    return Open({0, {}, nullptr, true});
}

__declspec(dllexport) EVT_HANDLE WINAPI EvtCreateBookmark(LPCWSTR text) {
    return text == nullptr && Works("EvtCreateBookmark") ? Open({}) : nullptr;
}

__declspec(dllexport) BOOL WINAPI EvtUpdateBookmark(EVT_HANDLE bookmark, EVT_HANDLE event) {
    if (!Works("EvtUpdateBookmark")) return FALSE;
    At(bookmark).event = At(event).event;
    return TRUE;
}

}  // extern "C"
