#include "frame/json.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <limits>

namespace optimizer::json {

namespace {

template <class Integer>
std::optional<Integer> ToInteger(const picojson::value* value) {
    if (value == nullptr || !value->is<double>()) return std::nullopt;
    const double number = value->get<double>();
    // Written so that a NaN fails it too.
    const bool fits = number >= static_cast<double>(std::numeric_limits<Integer>::min()) &&
                      number <= static_cast<double>(std::numeric_limits<Integer>::max());
    if (!fits) return std::nullopt;
    return static_cast<Integer>(number);
}

}  // namespace

bool Parse(const std::string& text, picojson::value& out, std::string& error) {
    try {
        const auto end = picojson::parse(out, text.begin(), text.end(), &error);
        const auto rest =
            std::find_if_not(end, text.end(), [](char c) { return std::strchr(" \t\r\n", c) != nullptr; });
        if (error.empty() && rest != text.end()) {
            const auto line = 1 + std::count(text.begin(), rest, '\n');
            error = "syntax error at line " + std::to_string(line) + " near: ";
            error.append(rest, std::find(rest, text.end(), '\n'));
        }
    } catch (const std::exception&) {
        error = "a number is out of range";  // beyond a double
    }
    return error.empty();
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

std::optional<bool> ToBool(const picojson::value* value) {
    if (value == nullptr || !value->is<bool>()) return std::nullopt;
    return value->get<bool>();
}

std::optional<std::string> ToText(const picojson::value* value) {
    if (value == nullptr || !value->is<std::string>()) return std::nullopt;
    return value->get<std::string>();
}

}  // namespace optimizer::json
