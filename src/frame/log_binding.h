#pragma once

#include <atomic>
#include <cstdint>

#include "border/log_library.h"
#include "frame/handles.h"

namespace optimizer::trace {

/// The functions of log.dll, bound by name. One object for the process, from the first reference to the last.
/// A missing library or export costs nothing: the write function then stands for one that does nothing.
class LogBinding {
public:
    LogBinding();
    ~LogBinding();
    LogBinding(const LogBinding&) = delete;
    LogBinding& operator=(const LogBinding&) = delete;

    LogWriteFunction* Write() const;

private:
    Library m_library;
    void* m_exports[14] = {};  // in the order of kLogExports
};

/// Takes a reference on the binding, making it when there is none. Any thread.
LogBinding* AcquireLog();

/// Gives one reference back; the last one takes the binding down. Any thread.
void ReleaseLog();

namespace internal {
extern std::atomic<int32_t> g_staticReferences;
extern std::atomic<int32_t> g_dynamicReferences;
}  // namespace internal

/// Whether anybody holds the log bound: two loads and an add.
inline bool IsLive() {
    return internal::g_staticReferences.load(std::memory_order_relaxed) +
               internal::g_dynamicReferences.load(std::memory_order_relaxed) >
           0;
}

/// Keeps the log bound. Held by objects that want their traces written, and by every single trace line.
class LogHolder {
public:
    LogHolder() = default;
    ~LogHolder() { Release(); }
    LogHolder(const LogHolder&) = delete;
    LogHolder& operator=(const LogHolder&) = delete;

    /// The binding, acquired at first use.
    LogBinding* Get();
    void Release();

private:
    LogBinding* m_binding = nullptr;
    std::atomic<int32_t> m_references = 0;
};

}  // namespace optimizer::trace
