#pragma once

#include <atomic>
#include <cstdarg>
#include <cstdint>
#include <string>

#include "frame/critical_section.h"
#include "log/log_file.h"
#include "log/thread_nesting.h"

namespace host {

/// The process's one log, behind the exports of log.dll, whose header tells what each operation does. Any
/// thread. The lock is held while a line is written to the file, never while one is formatted. Operations
/// other than IsWanted throw std::bad_alloc.
class CLogger {
public:
    /// Made at first use. Not destroyed when the process ends, since other libraries trace and let go of the
    /// log after this one was told of the end; Destroy is for a library that is unloaded before.
    static CLogger& Instance();
    static void Destroy();

    /// Whether a line of this level would be written: all that an unwanted line costs.
    static bool IsWanted(int32_t level) { return level <= s_threshold.load(std::memory_order_relaxed); }

    void Init();
    void Deinit();
    void SetSettingsFile(const wchar_t* path);
    void ApplySettings();
    void Enable(bool enable);
    bool IsEnabled();
    void SetLevel(int32_t level);
    void SetPath(const wchar_t* path);
    void SetMaxSize(uint64_t sizeBytes);
    void SetStartAfresh(bool startAfresh);
    void SetDepth(uint32_t depth);
    /// `function` isn't null.
    [[nodiscard]] uint32_t Write(int32_t nesting, int32_t level, const std::wstring& function,
                                 const wchar_t* format, va_list arguments);

private:
    CLogger() = default;
    ~CLogger() = default;
    void _ApplySettings() REQUIRES(m_lock);
    void _SetThreshold() REQUIRES(m_lock);

    static constexpr int64_t kNothing = INT64_MIN;  // below every level
    static std::atomic<int64_t> s_threshold;        // the highest level that is written

    CThreadNesting m_nesting;
    std::atomic<uint32_t> m_generation = 0;  // counts the changes of the threshold
    std::atomic<uint32_t> m_depth = 16;
    optimizer::CCriticalSection m_lock;
    std::wstring m_settingsFile GUARDED_BY(m_lock);  // empty: the default
    int32_t m_initCount GUARDED_BY(m_lock) = 0;
    bool m_enabled GUARDED_BY(m_lock) = true;
    int32_t m_level GUARDED_BY(m_lock) = 8;
    CLogFile m_file GUARDED_BY(m_lock);
};

}  // namespace host
