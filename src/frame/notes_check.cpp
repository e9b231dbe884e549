#include "frame/notes_check.h"

#include <cstdint>
#include <cstdio>

namespace optimizer {

namespace {

constexpr const char* kNoteKeys[] = {kRevertListKey, kInForceKey, kOwnersKey, kAccountKey};

/// FNV-1a, which no single changed byte leaves as it was. Empty where there are no notes.
std::string CheckOf(const picojson::object& document) {
    uint64_t hash = 0xCBF29CE484222325;
    bool any = false;
    for (const char* const key : kNoteKeys) {
        const auto member = document.find(key);
        if (member == document.end()) continue;
        any = true;
        for (const char byte : key + member->second.serialize())
            hash = (hash ^ static_cast<uint8_t>(byte)) * 0x100000001B3;
    }
    char text[17] = "";
    if (any) {
        std::snprintf(text, sizeof(text), "%08x%08x", static_cast<unsigned>(hash >> 32),
                      static_cast<unsigned>(hash));
    }
    return text;
}

}  // namespace

void StampNotes(picojson::object& document) {
    const std::string check = CheckOf(document);
    if (check.empty()) {
        document.erase(kNotesCheckKey);
    } else {
        document[kNotesCheckKey] = picojson::value(check);
    }
}

bool NotesFitCheck(const picojson::object& document) {
    const auto check = document.find(kNotesCheckKey);
    return check == document.end() ||
           (check->second.is<std::string>() && check->second.get<std::string>() == CheckOf(document));
}

}  // namespace optimizer
