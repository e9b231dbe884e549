// Any text: it is refused with a sentence, or read; and what is read can be stored and read again.
#include "frame/json.h"

#include <algorithm>

#include "native/expect.h"

namespace {

namespace json = optimizer::json;
using fuzz::Expect;

size_t LevelsOf(const picojson::value& value) {
    size_t inside = 0;
    if (value.is<picojson::array>()) {
        for (const picojson::value& each : value.get<picojson::array>())
            inside = std::max(inside, LevelsOf(each));
    } else if (value.is<picojson::object>()) {
        for (const auto& [key, each] : value.get<picojson::object>())
            inside = std::max(inside, LevelsOf(each));
    } else {
        return 0;
    }
    return inside + 1;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t sizeBytes) {
    const std::string text(reinterpret_cast<const char*>(data), sizeBytes);
    picojson::value value;
    std::string error;
    if (!json::Parse(text, value, error)) {
        Expect(!error.empty() && error.size() < 200);
        return fuzz::Count(false);
    }
    Expect(error.empty() && LevelsOf(value) <= json::kMostLevels);
    picojson::value again;
    Expect(json::Parse(value.serialize(), again, error));
    Expect(again.serialize() == value.serialize());
    // As a store does it.
    const bool isTaken = json::Parse(text, again, error, 1);
    Expect(isTaken == (LevelsOf(value) < json::kMostLevels));
    if (isTaken) Expect(json::Parse("{\"Work\":" + again.serialize() + "}", again, error));
    static_cast<void>(json::ToInt32(&value));
    static_cast<void>(json::ToUint32(&value));
    return fuzz::Count(true);
}
