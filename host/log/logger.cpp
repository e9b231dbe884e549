#include "log/logger.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "log/log_line.h"
#include "log/log_settings.h"

namespace host {

using optimizer::CriticalSectionGuard;

std::atomic<int64_t> CLogger::s_threshold = kNothing;

CLogger& CLogger::Instance() {
    alignas(CLogger) static std::byte storage[sizeof(CLogger)];
    static auto* const instance = new (storage) CLogger;
    return *instance;
}

void CLogger::Destroy() {
    s_threshold = kNothing;
    Instance().~CLogger();
}

void CLogger::Init() {
    const CriticalSectionGuard guard(m_lock);
    if (++m_initCount == 1) _ApplySettings();
}

void CLogger::Deinit() {
    const CriticalSectionGuard guard(m_lock);
    if (m_initCount == 0 || --m_initCount > 0) return;
    _SetThreshold();
    m_file.Close();
}

void CLogger::SetSettingsFile(const wchar_t* path) {
    const CriticalSectionGuard guard(m_lock);
    m_settingsFile = path != nullptr ? path : L"";
}

void CLogger::ApplySettings() {
    const CriticalSectionGuard guard(m_lock);
    _ApplySettings();
}

void CLogger::_ApplySettings() {
    const LogSettings settings =
        ReadLogSettings(m_settingsFile.empty() ? DefaultLogSettingsFile() : m_settingsFile);
    m_enabled = settings.enabled;
    m_level = settings.level;
    m_file.SetPath(settings.path);
    m_file.SetMaxSize(settings.maxSizeBytes);
    _SetThreshold();
}

void CLogger::_SetThreshold() {
    ++m_generation;
    s_threshold = m_initCount > 0 && m_enabled ? m_level : kNothing;
}

void CLogger::Enable(bool enable) {
    const CriticalSectionGuard guard(m_lock);
    m_enabled = enable;
    _SetThreshold();
}

bool CLogger::IsEnabled() {
    const CriticalSectionGuard guard(m_lock);
    return m_enabled;
}

void CLogger::SetLevel(int32_t level) {
    const CriticalSectionGuard guard(m_lock);
    m_level = level;
    _SetThreshold();
}

void CLogger::SetPath(const wchar_t* path) {
    const CriticalSectionGuard guard(m_lock);
    m_file.SetPath(ResolveLogPath(path));
}

void CLogger::SetMaxSize(uint64_t sizeBytes) {
    const CriticalSectionGuard guard(m_lock);
    m_file.SetMaxSize(sizeBytes);
}

void CLogger::SetStartAfresh(bool startAfresh) {
    const CriticalSectionGuard guard(m_lock);
    m_file.SetStartAfresh(startAfresh);
}

void CLogger::SetDepth(uint32_t depth) {
    m_depth = depth;
}

uint32_t CLogger::Write(int32_t nesting, int32_t level, const std::wstring& function, const wchar_t* format,
                        va_list arguments) {
    LogLine line = {};
    GetLocalTime(&line.time);
    line.processId = GetCurrentProcessId();
    line.threadId = GetCurrentThreadId();
    line.level = level;
    line.indent = std::min<uint32_t>(m_nesting.DepthOfLine(nesting, m_generation), m_depth);
    line.function = function;
    line.text = FormatText(format, arguments);
    const std::string whole = FormatLine(line);

    const CriticalSectionGuard guard(m_lock);
    // The log may have been closed since the line was found to be wanted; it must not be opened again.
    return IsWanted(level) ? m_file.Append(whole) : static_cast<uint32_t>(ERROR_SUCCESS);
}

}  // namespace host
