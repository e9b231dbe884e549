#pragma once

#include <cstdint>
#include <string>

namespace host {

struct LogSettings {
    bool enabled = true;
    int32_t level = 8;
    std::wstring path;  // absolute
    uint64_t maxSizeBytes = uint64_t{1024} * 1024;
};

/// "settings\log.json" beside this code.
std::wstring DefaultLogSettingsFile();

/// An absolute path for one that a person wrote: environment variables replaced, relative to this code's
/// folder.
std::wstring ResolveLogPath(const std::wstring& written);

/// Defaults for whatever isn't there or isn't right. Throws std::bad_alloc.
LogSettings ReadLogSettings(const std::wstring& file);

}  // namespace host
