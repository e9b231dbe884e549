#include "frame/log_binding.h"

#include <cstdlib>
#include <iterator>
#include <new>

namespace optimizer::trace {

namespace internal {
std::atomic<int32_t> g_staticReferences = 0;
std::atomic<int32_t> g_dynamicReferences = 0;
}  // namespace internal

namespace {

constexpr const char* kLogExports[] = {
    "LogApplySettings", "LogSetSettingsFile",   "LogEnable",     "LogSetLevel",       "LogSetPath",
    "LogSetType",       "LogSetMode",           "LogSetMaxSize", "LogSetDepth",       "LogWrite",
    "LogIsEnabled",     "LogUninitDeskMetrics", "LogTrackEvent", "LogTrackEventData",
};
constexpr size_t kLogWrite = 9;
constexpr size_t kLogUninitDeskMetrics = 11;

std::atomic<int32_t> g_spinFlag = 0;
LogBinding* g_binding = nullptr;       // guarded by g_spinFlag
bool g_exitHandlerRegistered = false;  // guarded by g_spinFlag

/// Guards the binding pointer and the counters; never held during a write.
class SpinGuard {
public:
    SpinGuard() {
        while (g_spinFlag.exchange(1) != 0)
            Sleep(1);
    }
    ~SpinGuard() { g_spinFlag.exchange(0); }
    SpinGuard(const SpinGuard&) = delete;
    SpinGuard& operator=(const SpinGuard&) = delete;
};

int32_t WriteNothing(int32_t, const int32_t*, const char*, const wchar_t*, const wchar_t*, va_list) {
    return E_NOINTERFACE;
}

void TakeDown() {
    delete std::exchange(g_binding, nullptr);
}

void AtExit() {
    // The other threads are gone by now. One that was ended while it held the flag will never let go of it:
    // then the binding is left as it is, since waiting would hang the process for ever.
    if (g_spinFlag.exchange(1) != 0) return;
    internal::g_staticReferences = 0;
    internal::g_dynamicReferences = 0;
    TakeDown();
    g_spinFlag.exchange(0);
}

}  // namespace

LogBinding::LogBinding() : m_library(LoadLibraryW(L"log.dll")) {
    if (m_library) {
        if (const auto init = GetExport<void()>(m_library.Get(), "LogInit")) init();
        for (size_t i = 0; i < std::size(kLogExports); ++i) {
            m_exports[i] = reinterpret_cast<void*>(GetProcAddress(m_library.Get(), kLogExports[i]));
        }
    }
    if (m_exports[kLogWrite] == nullptr) m_exports[kLogWrite] = reinterpret_cast<void*>(&WriteNothing);
}

LogBinding::~LogBinding() {
    if (!m_library) return;
    if (const auto deinit = GetExport<void()>(m_library.Get(), "LogDeinit")) deinit();
    if (m_exports[kLogUninitDeskMetrics] != nullptr) {
        reinterpret_cast<void (*)()>(m_exports[kLogUninitDeskMetrics])();
    }
}

LogWriteFunction* LogBinding::Write() const {
    return reinterpret_cast<LogWriteFunction*>(m_exports[kLogWrite]);
}

LogBinding* AcquireLog() {
    SpinGuard guard;
    if (internal::g_staticReferences + internal::g_dynamicReferences == 0) {
        TakeDown();
        g_binding = new (std::nothrow) LogBinding;
        if (!g_exitHandlerRegistered) g_exitHandlerRegistered = std::atexit(&AtExit) == 0;
    }
    ++internal::g_dynamicReferences;
    return g_binding;
}

void ReleaseLog() {
    SpinGuard guard;
    if (internal::g_dynamicReferences > 0) {
        --internal::g_dynamicReferences;
    } else if (internal::g_staticReferences > 0) {
        internal::g_staticReferences = 0;
    }
    if (g_binding != nullptr && internal::g_staticReferences + internal::g_dynamicReferences == 0) TakeDown();
}

LogBinding* LogHolder::Get() {
    if (m_binding == nullptr) {
        m_binding = AcquireLog();
        ++m_references;
    }
    return m_binding;
}

void LogHolder::Release() {
    m_binding = nullptr;
    while (m_references.fetch_sub(1) > 0)
        ReleaseLog();
    ++m_references;  // the last step went below 0
}

}  // namespace optimizer::trace
