#include "profile/notes_report.h"

#include <picojson.h>

#include "frame/text.h"
#include "trust/file_trust.h"

namespace optimizer {

namespace {

const char* NameOf(NotesState state) {
    if (state == NotesState::Ok) return "good";
    return state == NotesState::Unreadable ? "unreadable" : "damaged";
}

double CountOf(const picojson::value& values) {
    if (values.is<picojson::array>()) return static_cast<double>(values.get<picojson::array>().size());
    return values.is<picojson::object>() ? static_cast<double>(values.get<picojson::object>().size()) : 1.0;
}

picojson::value ListToJson(INotesStore& store, const std::wstring& key) {
    RevertNotes notes;
    const NotesState state = store.ReadNotes(key, notes);
    picojson::object revert;
    for (const auto& [action, values] : notes.values)
        revert[action] = picojson::value(CountOf(values));
    picojson::array inForce;
    for (const std::string& action : notes.inForce)
        inForce.emplace_back(action);
    picojson::object owners;
    for (const auto& [action, owner] : notes.owners)
        owners[action] = picojson::value(owner);
    return picojson::value(picojson::object{{"key", picojson::value(Narrow(key))},
                                            {"state", picojson::value(NameOf(state))},
                                            {"revert", picojson::value(revert)},
                                            {"inForce", picojson::value(inForce)},
                                            {"owners", picojson::value(owners)}});
}

}  // namespace

std::string NotesToJson(INotesStore& store, const std::vector<std::wstring>& folders) {
    picojson::array lists{ListToJson(store, INotesStore::kMachine)};
    for (const std::wstring& key : store.NotedUsers())
        lists.push_back(ListToJson(store, key));
    picojson::array unused;
    for (const std::wstring& folder : folders) {
        for (const std::wstring& sentence : UnusedIn(folder))
            unused.emplace_back(Narrow(sentence));
    }
    return picojson::value(
               picojson::object{{"notes", picojson::value(lists)}, {"unused", picojson::value(unused)}})
        .serialize();
}

}  // namespace optimizer
