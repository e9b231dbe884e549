// What every reader of JSON in the module shares.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include <picojson.h>

namespace optimizer::json {

/// No settings file is read that is larger: far above any of them, far below harm.
inline constexpr int64_t kLargestFileBytes = int64_t{64} * 1024 * 1024;

/// How deep arrays and objects may lie in one another. Settings need five levels; each one costs stack, to
/// parse and to free.
inline constexpr size_t kMostLevels = 32;

/// Parses a text, with or without the byte order mark of UTF-8. On a syntax error the result is false and
/// `error` tells the line and what begins there, 80 characters at most; so it does for a number that no
/// double can hold, and for a text that is nested too deeply. `levelsAround` is how many levels will lie
/// around the text where it is stored: what is accepted can be read again from there.
bool Parse(const std::string& text, picojson::value& out, std::string& error, size_t levelsAround = 0);

/// The member of an object; null when the value isn't an object or has no such key.
const picojson::value* Find(const picojson::value& value, const std::string& key);

/// A number as a 32-bit value; nothing when the value isn't a number or doesn't fit.
std::optional<uint32_t> ToUint32(const picojson::value* value);
std::optional<int32_t> ToInt32(const picojson::value* value);
std::optional<double> ToDouble(const picojson::value* value);
std::optional<bool> ToBool(const picojson::value* value);
std::optional<std::string> ToText(const picojson::value* value);

}  // namespace optimizer::json
