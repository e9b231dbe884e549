// The exports of log.dll; log.def names them.
#include "log/log_exports.h"

#include <new>

#include "frame/text.h"
#include "log/logger.h"

namespace {

using host::CLogger;

/// Runs one operation with the thread's last error kept and no exception let out.
template <class Operation>
uint32_t Guarded(Operation operation) {
    const DWORD lastError = GetLastError();
    uint32_t result = ERROR_SUCCESS;
    try {
        result = operation();
    } catch (const std::bad_alloc&) {
        result = ERROR_OUTOFMEMORY;
    }
    SetLastError(lastError);
    return result;
}

/// The same for an operation with no result of its own.
template <class Operation>
uint32_t Done(Operation operation) {
    return Guarded([&] {
        operation(CLogger::Instance());
        return static_cast<uint32_t>(ERROR_SUCCESS);
    });
}

bool IsEmpty(const wchar_t* text) {
    return text == nullptr || text[0] == 0;
}

std::wstring FunctionName(const char* function, const wchar_t* wideFunction) {
    if (wideFunction != nullptr) return wideFunction;
    return function != nullptr ? optimizer::Widen(function) : std::wstring();
}

}  // namespace

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, void* processEnds) {
    if (reason == DLL_PROCESS_DETACH && processEnds == nullptr) CLogger::Destroy();
    return TRUE;
}

uint32_t LogInit() {
    return Done([](CLogger& log) { log.Init(); });
}

uint32_t LogDeinit() {
    return Done([](CLogger& log) { log.Deinit(); });
}

uint32_t LogSetSettingsFile(const wchar_t* path) {
    return Done([=](CLogger& log) { log.SetSettingsFile(path); });
}

uint32_t LogApplySettings() {
    return Done([](CLogger& log) { log.ApplySettings(); });
}

uint32_t LogEnable(int32_t enable) {
    return Done([=](CLogger& log) { log.Enable(enable != 0); });
}

uint32_t LogIsEnabled() {
    return Guarded([] { return CLogger::Instance().IsEnabled() ? 1u : 0u; });
}

uint32_t LogSetLevel(int32_t level) {
    return Done([=](CLogger& log) { log.SetLevel(level); });
}

uint32_t LogSetPath(const wchar_t* path) {
    if (IsEmpty(path)) return ERROR_INVALID_PARAMETER;
    return Done([=](CLogger& log) { log.SetPath(path); });
}

uint32_t LogSetMaxSize(uint64_t sizeBytes) {
    return Done([=](CLogger& log) { log.SetMaxSize(sizeBytes); });
}

uint32_t LogSetMode(int32_t mode) {
    if (mode != 0 && mode != 1) return ERROR_INVALID_PARAMETER;
    return Done([=](CLogger& log) { log.SetStartAfresh(mode == 1); });
}

uint32_t LogSetType(int32_t type) {
    return type == 0 ? ERROR_SUCCESS : ERROR_INVALID_PARAMETER;
}

uint32_t LogSetDepth(uint32_t depth) {
    return Done([=](CLogger& log) { log.SetDepth(depth); });
}

int32_t LogWrite(int32_t nesting, const int32_t* level, const char* function, const wchar_t* wideFunction,
                 const wchar_t* format, va_list arguments) {
    if (level == nullptr || format == nullptr) return ERROR_INVALID_PARAMETER;
    if (!CLogger::IsWanted(*level)) return ERROR_SUCCESS;
    return static_cast<int32_t>(Guarded([&] {
        return CLogger::Instance().Write(nesting, *level, FunctionName(function, wideFunction), format,
                                         arguments);
    }));
}

uint32_t LogTrackEvent(const wchar_t*) {
    return ERROR_NOT_SUPPORTED;
}

uint32_t LogTrackEventData(const wchar_t*, const wchar_t*) {
    return ERROR_NOT_SUPPORTED;
}

uint32_t LogUninitDeskMetrics() {
    return ERROR_SUCCESS;
}
