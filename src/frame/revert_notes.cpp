#include "frame/revert_notes.h"

#include "frame/json.h"
#include "frame/notes_check.h"

namespace optimizer {

namespace {

const picojson::value* Find(const picojson::object& document, const char* key) {
    const auto member = document.find(key);
    return member != document.end() ? &member->second : nullptr;
}

}  // namespace

RevertNotes RevertNotes::FromDocument(const picojson::object& document) {
    RevertNotes notes;
    const picojson::value* const values = Find(document, kRevertListKey);
    if (values != nullptr && values->is<picojson::object>()) notes.values = values->get<picojson::object>();
    const picojson::value* const inForce = Find(document, kInForceKey);
    if (inForce != nullptr && inForce->is<picojson::array>()) {
        for (const picojson::value& action : inForce->get<picojson::array>()) {
            if (action.is<std::string>()) notes.inForce.insert(action.get<std::string>());
        }
    }
    const picojson::value* const owners = Find(document, kOwnersKey);
    if (owners != nullptr && owners->is<picojson::object>()) {
        for (const auto& [action, user] : owners->get<picojson::object>()) {
            if (user.is<std::string>()) notes.owners[action] = user.get<std::string>();
        }
    }
    return notes;
}

void RevertNotes::ToDocument(picojson::object& document) const {
    document[kRevertListKey] = picojson::value(values);
    document.erase(kInForceKey);
    document.erase(kOwnersKey);
    if (!inForce.empty()) {
        picojson::array names;
        for (const std::string& action : inForce)
            names.emplace_back(action);
        document[kInForceKey] = picojson::value(names);
    }
    if (!owners.empty()) {
        picojson::object users;
        for (const auto& [action, user] : owners)
            users[action] = picojson::value(user);
        document[kOwnersKey] = picojson::value(users);
    }
}

void RevertNotes::Erase(const std::string& action) {
    values.erase(action);
    inForce.erase(action);
    owners.erase(action);
}

}  // namespace optimizer
