#include "settings/tasks_settings.h"

#include <iterator>
#include <utility>

#include <picojson.h>

#include "frame/json.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "settings/json_file.h"

namespace optimizer {

namespace {

constexpr const char* kTaskNames[] = {"DiskCleaner"};  // by the task's number

/// Empty for a number that is no task; nothing is found or stored under that.
std::string TaskName(int task) {
    return task >= 0 && static_cast<size_t>(task) < std::size(kTaskNames) ? kTaskNames[task] : "";
}

bool ReadTask(const std::wstring& file, const std::string& name, std::string& text) {
    picojson::value document;
    if (name.empty() || ReadJsonFile(file, document) != JsonFileState::Ok) return false;
    const picojson::value* const settings = json::Find(document, name);
    if (settings == nullptr || settings->is<picojson::null>()) return false;
    text = settings->serialize();
    return true;
}

}  // namespace

CTasksSettings::CTasksSettings(std::wstring defaultsFile, std::wstring currentFile)
    : m_defaultsFile(std::move(defaultsFile)), m_currentFile(std::move(currentFile)) {}

bool CTasksSettings::GetTaskSettings(const int* task, std::wstring& out) {
    TRACE_SCOPE("CTasksSettings::GetTaskSettings");
    CriticalSectionGuard guard(m_lock);
    const std::string name = TaskName(*task);
    std::string text;
    if (!ReadTask(m_currentFile, name, text) && !ReadTask(m_defaultsFile, name, text)) return false;
    out = Widen(text);
    return true;
}

bool CTasksSettings::SetTaskSettings(const int* task, const std::wstring& text) {
    TRACE_SCOPE("CTasksSettings::SetTaskSettings");
    CriticalSectionGuard guard(m_lock);
    return _Write(TaskName(*task), Narrow(text));
}

bool CTasksSettings::ResetTaskSettings(const int* task) {
    TRACE_SCOPE("CTasksSettings::ResetTaskSettings");
    CriticalSectionGuard guard(m_lock);
    const std::string name = TaskName(*task);
    std::string text;
    return ReadTask(m_defaultsFile, name, text) && _Write(name, text);
}

bool CTasksSettings::_Write(const std::string& name, const std::string& text) {
    TRACE_SCOPE("CTasksSettings::_Write");
    if (name.empty()) return false;
    picojson::value settings;
    std::string error;
    if (!json::Parse(text, settings, error, 1)) {
        TRACE_LINE(trace::kWarning, L"%S", error.c_str());
        return false;
    }
    // Unlike the files of profiles, a file that doesn't parse is replaced: no way back is kept in it.
    picojson::value document;
    if (ReadJsonFile(m_currentFile, document) != JsonFileState::Ok || !document.is<picojson::object>())
        document = picojson::value(picojson::object());
    document.get<picojson::object>()[name] = settings;
    return WriteJsonFile(m_currentFile, document) == 0;
}

}  // namespace optimizer
