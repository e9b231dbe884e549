// An event log in memory with one channel, which fails on demand.
#include <string_view>

#include <windows.h>

#include <winevt.h>

#include "tests/support/simulated_events.h"

#define EXPORT extern "C" __declspec(dllexport)

namespace {

SimulatedEvents g_log;
EVT_SUBSCRIBE_CALLBACK g_callback = nullptr;

/// What a handle points to: a result set, an event, a path to render, a bookmark or the subscription.
struct Object {
    SimulatedEvent event = {};
    std::wstring_view path;
    int position = 0;
};

bool Works(std::string_view name) {
    if (g_log.failing != name) return true;
    SetLastError(ERROR_ACCESS_DENIED);
    return false;
}

EVT_HANDLE Open(bool works, const Object& object) {
    g_log.openHandles += works ? 1 : 0;
    return works ? new Object(object) : nullptr;
}

Object& At(const void* handle) {
    return *static_cast<Object*>(const_cast<void*>(handle));
}

}  // namespace

EXPORT SimulatedEvents* SimulatedLog() {
    return &g_log;
}

EXPORT void DeliverEvent(const SimulatedEvent* event) {
    Object object{*event, {}};
    if (g_log.delivery == nullptr) return;
    g_callback(EvtSubscribeActionError, &At(g_log.delivery), nullptr);
    g_callback(EvtSubscribeActionDeliver, &At(g_log.delivery), &object);
}

EXPORT EVT_HANDLE WINAPI EvtCreateRenderContext(DWORD count, LPCWSTR* paths, DWORD flags) {
    return Open(count == 1 && flags == 0, {{}, paths[0]});
}

EXPORT BOOL WINAPI EvtRender(EVT_HANDLE context, EVT_HANDLE event, DWORD, DWORD sizeBytes, void* buffer,
                             DWORD* usedBytes, DWORD* count) {
    if (!Works("EvtRender")) return FALSE;
    *usedBytes = sizeof(EVT_VARIANT);
    *count = 1;
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    if (sizeBytes < *usedBytes) return FALSE;
    auto& value = *static_cast<EVT_VARIANT*>(buffer);
    value = {};
    const auto [writtenTicks, bootTimeMs] = At(event).event;
    if (At(context).path == L"Event/System/TimeCreated/@SystemTime" && writtenTicks != 0) {
        value.Type = EvtVarTypeFileTime;
        value.FileTimeVal = writtenTicks;
    } else if (At(context).path == L"Event/EventData/Data[@Name=\"BootTime\"]" && bootTimeMs != 0) {
        value.Type = EvtVarTypeUInt32;
        value.UInt32Val = bootTimeMs;
    }
    return TRUE;
}

EXPORT BOOL WINAPI EvtClose(EVT_HANDLE handle) {
    --g_log.openHandles;
    if (At(handle).path == L"subscription") g_log.delivery = nullptr;
    delete &At(handle);
    return TRUE;
}

EXPORT EVT_HANDLE WINAPI EvtQuery(EVT_HANDLE session, LPCWSTR channel, LPCWSTR query, DWORD flags) {
    const bool isAsked =
        channel == std::wstring_view(L"Microsoft-Windows-Diagnostics-Performance/Operational") &&
        query == std::wstring_view(L"Event/System[EventID=100]") && flags == 0x201;
    return Open(session == nullptr && isAsked && Works("EvtQuery"), {});
}

EXPORT BOOL WINAPI EvtNext(EVT_HANDLE resultSet, DWORD, EVT_HANDLE* events, DWORD, DWORD, DWORD* count) {
    int& position = At(resultSet).position;
    if (position == g_log.count || !Works("EvtNext")) return FALSE;
    events[0] = Open(true, {g_log.events[position++], {}});
    *count = 1;
    return TRUE;
}

EXPORT EVT_HANDLE WINAPI EvtSubscribe(EVT_HANDLE, HANDLE, LPCWSTR, LPCWSTR, EVT_HANDLE bookmark,
                                      void* context, EVT_SUBSCRIBE_CALLBACK callback, DWORD flags) {
    if (flags != 3 || bookmark == nullptr || !Works("EvtSubscribe")) return nullptr;
    g_callback = callback;
    g_log.delivery = context;
    g_log.bookmark = At(bookmark).event.writtenTicks;
    ++g_log.subscriptions;
    return Open(true, {{}, L"subscription"});
}

EXPORT EVT_HANDLE WINAPI EvtCreateBookmark(LPCWSTR text) {
    return Open(text == nullptr && Works("EvtCreateBookmark"), {});
}

EXPORT BOOL WINAPI EvtUpdateBookmark(EVT_HANDLE bookmark, EVT_HANDLE event) {
    At(bookmark).event = At(event).event;
    return Works("EvtUpdateBookmark");
}
