#include "host/run_problems/engine_notes.h"

#include <cstdint>

#include <windows.h>

#include "border/run_report.h"
#include "frame/json.h"
#include "frame/text.h"
#include "frame/vx_string.h"

namespace host {

namespace {

namespace json = optimizer::json;

const picojson::array& ArrayIn(const picojson::value& value, const char* key) {
    static const picojson::array none;
    const picojson::value* const found = json::Find(value, key);
    return found != nullptr && found->is<picojson::array>() ? found->get<picojson::array>() : none;
}

SettingsFileState StateOf(const std::string& name) {
    if (name == "good") return SettingsFileState::Ok;
    return name == "unreadable" ? SettingsFileState::Unreadable : SettingsFileState::Broken;
}

NotedList ListFrom(const picojson::value& told) {
    NotedList list;
    list.file = RestoreFileName(optimizer::Widen(json::ToText(json::Find(told, "key")).value_or("")));
    list.state = StateOf(json::ToText(json::Find(told, "state")).value_or(""));
    const picojson::value* const revert = json::Find(told, "revert");
    const picojson::value* const owners = json::Find(told, "owners");
    if (revert != nullptr && revert->is<picojson::object>()) {
        for (const auto& [action, count] : revert->get<picojson::object>()) {
            const auto owner = owners != nullptr ? json::ToText(json::Find(*owners, action)) : std::nullopt;
            list.entries.push_back({optimizer::Widen(action), json::ToUint32(&count).value_or(1), false,
                                    optimizer::Widen(owner.value_or(""))});
        }
    }
    for (const picojson::value& action : ArrayIn(told, "inForce"))
        list.entries.push_back({optimizer::Widen(json::ToText(&action).value_or("")), 0, true, L""});
    return list;
}

}  // namespace

std::optional<EngineNotes> AskNotes(IOptimizer& engine) {
    void* const report = engine.QueryInterface(&INotesReport::kIdentifier);
    vx::String text;
    if (report == nullptr || static_cast<INotesReport*>(report)->GetNotes(&text) != ERROR_SUCCESS)
        return std::nullopt;
    picojson::value document;
    std::string error;
    if (!json::Parse(optimizer::Narrow(text.Text()), document, error)) return std::nullopt;
    EngineNotes notes;
    for (const picojson::value& list : ArrayIn(document, "notes"))
        notes.lists.push_back(ListFrom(list));
    for (const picojson::value& sentence : ArrayIn(document, "unused"))
        notes.unused.push_back(optimizer::Widen(json::ToText(&sentence).value_or("")));
    return notes;
}

}  // namespace host
