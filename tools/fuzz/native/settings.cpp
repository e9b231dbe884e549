// A settings file's document, read as each of the files and as the parameters of each action. What a reader
// makes of it, it must make of its own writing too.
#include "actions/block_win_notifications_params.h"
#include "actions/bluetooth_params.h"
#include "actions/hibernate_params.h"
#include "actions/postpone_automatic_update_params.h"
#include "actions/power_plan_params.h"
#include "actions/visual_fx_params.h"
#include "actions/windows_services_params.h"
#include "cloud/token_mask.h"
#include "frame/json.h"
#include "frame/notes_check.h"
#include "frame/revert_notes.h"
#include "native/expect.h"
#include "optimizerprocessdp/application_lists.h"
#include "processes/windows_processes_params.h"
#include "settings/profile_names.h"

namespace {

using namespace optimizer;
using fuzz::Expect;

template <class Parameters>
void ReadAs(const picojson::value& document) {
    Parameters first;
    first.FromJson(&document);
    picojson::value written;
    first.ToJson(&written);
    Parameters second;
    second.FromJson(&written);
    picojson::value again;
    second.ToJson(&again);
    Expect(written.serialize() == again.serialize());
}

void ReadAsAction(const picojson::value& document) {
    ReadAs<BlockWinNotificationsParams>(document);
    ReadAs<BluetoothParams>(document);
    ReadAs<HibernateParams>(document);
    ReadAs<PostponeAutomaticUpdateParams>(document);
    ReadAs<PowerPlanParams>(document);
    ReadAs<VisualEffectValues>(document);
    ReadAs<WindowsProcessesParams>(document);
    ReadAs<WindowsServicesParams>(document);
}

void ReadAsNotes(const picojson::object& document) {
    static_cast<void>(NotesFitCheck(document));
    const RevertNotes notes = RevertNotes::FromDocument(document);
    picojson::object written = document;
    notes.ToDocument(written);
    StampNotes(written);
    Expect(NotesFitCheck(written) && RevertNotes::FromDocument(written) == notes);
    picojson::value again;
    std::string error;
    // A document is never deeper for its notes, however deep they lie in it.
    Expect(json::Parse(picojson::value(written).serialize(), again, error));
    for (const auto& [name, value] : document) {
        static_cast<void>(ProfileFromName(name));
        ReadAsAction(value);
    }
}

void ReadAsApplications(const picojson::value& document) {
    std::wstring problem;
    const auto lists = host::ApplicationLists::FromJson(document, problem);
    Expect(lists.has_value() == problem.empty());
    if (!lists) return;
    const auto again = host::ApplicationLists::FromJson(lists->ToJson(), problem);
    Expect(again && again->ToJson() == lists->ToJson());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t sizeBytes) {
    const std::string text(reinterpret_cast<const char*>(data), sizeBytes);
    picojson::value document;
    std::string error;
    static_cast<void>(WithoutToken(text, text));
    if (!json::Parse(text, document, error)) return fuzz::Count(false);
    ReadAsAction(document);
    ReadAsApplications(document);
    if (document.is<picojson::object>()) ReadAsNotes(document.get<picojson::object>());
    return fuzz::Count(true);
}
