#pragma once

#include "frame/critical_section.h"
#include "settings/itasks_settings.h"

namespace optimizer {

/// Keeps the settings of background tasks in two JSON files: the shipped defaults, which are never written,
/// and the current values. Nothing is cached. Owned by CSettingsManager. Every operation blocks for as long
/// as it takes to read or rewrite a file.
class CTasksSettings final : public ITasksSettings {
public:
    CTasksSettings(std::wstring defaultsFile, std::wstring currentFile);

    bool GetTaskSettings(const int* task, std::wstring& out) override;
    bool SetTaskSettings(const int* task, const std::wstring& text) override;
    bool ResetTaskSettings(const int* task) override;

private:
    bool _Write(const std::string& name, const std::string& text);

    const std::wstring m_defaultsFile;
    const std::wstring m_currentFile;
    CCriticalSection m_lock;  // held over file access
};

}  // namespace optimizer
