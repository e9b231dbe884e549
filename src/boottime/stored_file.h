// The two files that keep a boot's result over restarts of the service. Their numbers are texts of decimal
// digits, so that 64 bits survive.
#pragma once

#include <charconv>
#include <optional>
#include <string>

#include <picojson.h>

#include "frame/trace.h"

namespace boottime {

inline constexpr const wchar_t* kTimeFile = L"last_boot_time_information.json";
inline constexpr const wchar_t* kImpactFile = L"last_boot_time_process_impact.json";
inline constexpr const char* kStartTimeKey = "systemStartTimestamp";
inline constexpr const char* kBootTimeKey = "bootTime";

enum class StoredFileState { Ok, Absent, Broken };

/// Reads and parses a whole file. `error` is the parser's word for a broken one.
StoredFileState ReadStoredFile(const std::wstring& path, picojson::value& out, std::string& error);
/// The same, with a failure traced in the caller's scope; `absent` is what is said of a file that isn't
/// there.
bool ReadStoredFile(const optimizer::trace::LogScope& traceScope, const std::wstring& path,
                    const wchar_t* absent, picojson::value& out);

/// The number that a text holds, from its first character to its last; nothing for anything else.
template <class Integer>
std::optional<Integer> ToNumber(const picojson::value* value) {
    if (value == nullptr || !value->is<std::string>()) return std::nullopt;
    const std::string& text = value->get<std::string>();
    Integer number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end) return std::nullopt;
    return number;
}

template <class Integer>
picojson::value ToText(Integer number) {
    return picojson::value(std::to_string(number));
}

}  // namespace boottime
