#pragma once

#include <optional>
#include <string>
#include <vector>

#include "border/optimizer.h"
#include "host/settings_check/settings_files.h"

namespace host {

/// What is noted in one restore file, as the engine tells it.
struct NotedList {
    std::wstring file;  // its name
    SettingsFileState state = SettingsFileState::Ok;
    std::vector<RevertEntry> entries;
};

/// What the engine tells of its files, to whoever may not read them.
struct EngineNotes {
    std::vector<NotedList> lists;
    std::vector<std::wstring> unused;  // a sentence for each file that it doesn't go by
};

/// Asks the engine; nothing when it is one of before, or doesn't tell.
std::optional<EngineNotes> AskNotes(IOptimizer& engine);

}  // namespace host
