#pragma once

#include <string>

namespace optimizer {

/// The settings of background tasks, each a JSON value of any type that nobody here looks into. A task is
/// passed as its number: 0 is "DiskCleaner". Any thread. Results say whether it worked.
class ITasksSettings {
public:
    /// The current settings as JSON text, or else the shipped ones. `out` stays as it was when there are
    /// neither.
    virtual bool GetTaskSettings(const int* task, std::wstring& out) = 0;
    /// Replaces the current settings by a JSON text. A broken one changes nothing.
    virtual bool SetTaskSettings(const int* task, const std::wstring& text) = 0;
    /// Returns to the shipped settings; changes nothing for a task without them.
    virtual bool ResetTaskSettings(const int* task) = 0;
    virtual ~ITasksSettings() = default;
};

}  // namespace optimizer
