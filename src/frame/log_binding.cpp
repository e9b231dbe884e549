#include "frame/log_binding.h"

#include <cstdlib>
#include <iterator>
#include <new>

#include "frame/lock_guard.h"

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

/// Guards the binding pointer and the counters; never held during a write.
class CAPABILITY("lock") SpinFlag {
public:
    void lock() ACQUIRE() {
        while (!try_lock())
            Sleep(1);
    }
    bool try_lock() TRY_ACQUIRE(true) { return m_flag.exchange(1) == 0; }
    void unlock() RELEASE() { m_flag.exchange(0); }

private:
    std::atomic<int32_t> m_flag = 0;
};

constinit SpinFlag g_spinFlag;
LogBinding* g_binding GUARDED_BY(g_spinFlag) = nullptr;
bool g_exitHandlerRegistered GUARDED_BY(g_spinFlag) = false;

int32_t WriteNothing(int32_t, const int32_t*, const char*, const wchar_t*, const wchar_t*, va_list) {
    return E_NOINTERFACE;
}

void TakeDown() REQUIRES(g_spinFlag) {
    delete std::exchange(g_binding, nullptr);
}

void AtExit() {
    // The other threads are gone by now. One that was ended while it held the flag will never let go of it:
    // then the binding is left as it is, since waiting would hang the process for ever.
    if (!g_spinFlag.try_lock()) return;
    internal::g_staticReferences = 0;
    internal::g_dynamicReferences = 0;
    TakeDown();
    g_spinFlag.unlock();
}

}  // namespace

// Not along PATH or from the current folder, where anybody may have put one.
LogBinding::LogBinding() : m_library(LoadLibraryExW(L"log.dll", nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS)) {
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
    const LockGuard guard(g_spinFlag);
    if (internal::g_staticReferences + internal::g_dynamicReferences == 0) {
        TakeDown();
        g_binding = new (std::nothrow) LogBinding;
        if (!g_exitHandlerRegistered) g_exitHandlerRegistered = std::atexit(&AtExit) == 0;
    }
    ++internal::g_dynamicReferences;
    return g_binding;
}

void ReleaseLog() {
    const LockGuard guard(g_spinFlag);
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
