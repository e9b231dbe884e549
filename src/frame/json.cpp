#include "frame/json.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>

namespace optimizer::json {

namespace {

template <class Integer>
std::optional<Integer> ToInteger(const picojson::value* value) {
    const std::optional<double> number = ToDouble(value);
    // Written so that a NaN fails it too.
    const bool fits = number && *number >= static_cast<double>(std::numeric_limits<Integer>::min()) &&
                      *number <= static_cast<double>(std::numeric_limits<Integer>::max());
    if (!fits) return std::nullopt;
    return static_cast<Integer>(*number);
}

using Place = std::string::const_iterator;

constexpr size_t kLongestExcerpt = 80;
constexpr const char* kNear = " near: ";
constexpr const char* kUtf8Mark = "\xEF\xBB\xBF";
constexpr const char* kUtf16Marks[] = {"\xFF\xFE", "\xFE\xFF"};

/// "... at line 3 near: " with as much of the rest of that line as Shortened looks at.
std::string Complain(const std::string& what, const std::string& text, Place place) {
    const auto line = 1 + std::count(text.begin(), place, '\n');
    const auto last = place + std::min<ptrdiff_t>(text.end() - place, kLongestExcerpt + 1);
    return what + " at line " + std::to_string(line) + kNear +
           std::string(place, std::find(place, last, '\n'));
}

/// The complaint without more of the line than a person looks at: a broken file may be a single long line.
std::string Shortened(const std::string& complaint) {
    const size_t place = complaint.find(kNear);
    const size_t longest =
        place == std::string::npos ? kLongestExcerpt : place + std::strlen(kNear) + kLongestExcerpt;
    return complaint.size() <= longest ? complaint : complaint.substr(0, longest) + "...";
}

/// The first number beyond a double, in a text that is well-formed up to there.
Place FindHugeNumber(const std::string& text) {
    bool isInText = false;
    for (size_t at = 0; at < text.size(); ++at) {
        if (text[at] == '"') isInText = !isInText;
        if (isInText) {
            if (text[at] == '\\') ++at;
        } else if (text[at] >= '0' && text[at] <= '9') {
            char* end = nullptr;
            if (std::isinf(std::strtod(&text[at], &end))) return text.begin() + static_cast<ptrdiff_t>(at);
            at = static_cast<size_t>(end - text.data()) - 1;
        }
    }
    return text.end();
}

/// The first bracket that lies deeper than `mostLevels`. Behind a syntax error it may take something else
/// for one, which is then refused for the other reason.
Place FindTooDeep(const std::string& text, size_t mostLevels) {
    bool isInText = false;
    size_t levels = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        const char c = text[at];
        if (c == '"') {
            isInText = !isInText;
        } else if (isInText) {
            if (c == '\\') ++at;
        } else if (c == '[' || c == '{') {
            if (++levels > mostLevels) return text.begin() + static_cast<ptrdiff_t>(at);
        } else if ((c == ']' || c == '}') && levels != 0) {
            --levels;
        }
    }
    return text.end();
}

}  // namespace

bool Parse(const std::string& text, picojson::value& out, std::string& error, size_t levelsAround) {
    error.clear();  // the parser adds to it
    for (const char* const mark : kUtf16Marks) {
        if (!text.starts_with(mark)) continue;
        error = "UTF-16 byte order mark at line 1; save it as UTF-8";
        return false;
    }
    // Editors put this mark in front of UTF-8; it means nothing.
    const auto begin = text.begin() + (text.starts_with(kUtf8Mark) ? 3 : 0);
    // Before the parser sees the text: it calls itself for each level, and has no bound for objects.
    const size_t mostLevels = kMostLevels - levelsAround;
    if (const Place tooDeep = FindTooDeep(text, mostLevels); tooDeep != text.end()) {
        error = Shortened(
            Complain("nested deeper than " + std::to_string(mostLevels) + " levels", text, tooDeep));
        return false;
    }
    try {
        const auto end = picojson::parse(out, begin, text.end(), &error);
        const auto rest =
            std::find_if_not(end, text.end(), [](char c) { return std::strchr(" \t\r\n", c) != nullptr; });
        // The parser stops behind the first document. More text is refused, since a file that two writers met
        // in looks so: its first part may be anybody's.
        if (error.empty() && rest != text.end()) error = Complain("syntax error", text, rest);
    } catch (const std::overflow_error&) {
        error = Complain("number too large", text, FindHugeNumber(text));
    }
    if (error.empty()) return true;
    error = Shortened(error);
    return false;
}

const picojson::value* Find(const picojson::value& value, const std::string& key) {
    if (!value.is<picojson::object>()) return nullptr;
    const auto& object = value.get<picojson::object>();
    const auto found = object.find(key);
    return found != object.end() ? &found->second : nullptr;
}

std::optional<uint32_t> ToUint32(const picojson::value* value) {
    return ToInteger<uint32_t>(value);
}

std::optional<int32_t> ToInt32(const picojson::value* value) {
    return ToInteger<int32_t>(value);
}

std::optional<double> ToDouble(const picojson::value* value) {
    if (value == nullptr || !value->is<double>()) return std::nullopt;
    return value->get<double>();
}

std::optional<bool> ToBool(const picojson::value* value) {
    if (value == nullptr || !value->is<bool>()) return std::nullopt;
    return value->get<bool>();
}

std::optional<std::string> ToText(const picojson::value* value) {
    if (value == nullptr || !value->is<std::string>()) return std::nullopt;
    return value->get<std::string>();
}

}  // namespace optimizer::json
