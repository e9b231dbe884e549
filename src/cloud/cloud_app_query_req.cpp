#include "cloud/cloud_app_query_req.h"

#include <map>
#include <memory>
#include <new>

#include <picojson.h>

#include "cloud/token_mask.h"
#include "frame/text.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

using profiles::profile;

struct EnumRelease {
    void operator()(ProcessEntryEnum* enumerator) const { enumerator->Release(); }
};

/// A profile that isn't known here gets an empty text, which stays.
const std::string& CategoryOf(profile which) {
    static std::map<profile, std::string> categories = {
        {profile::Work, "work"}, {profile::Game, "game"}, {profile::Movie, "movie"}};
    return categories[which];
}

picojson::value Utf8(const wchar_t* text) {
    return picojson::value(text != nullptr ? Narrow(text) : std::string());
}

picojson::array AppsOf(OptimizerProcessList* list, const std::string& category) {
    if (list == nullptr) return {};
    const std::unique_ptr<ProcessEntryEnum, EnumRelease> enumerator(list->CreateConstEnum());
    if (!enumerator) throw std::bad_alloc();
    picojson::array apps;
    for (; enumerator->HasCurrent(); enumerator->MoveNext()) {
        const IOptimizerProcessEntry* const entry = enumerator->Current();
        picojson::object app;
        app["app_name"] = Utf8(entry->GetApplicationName());
        app["product_name"] = Utf8(entry->GetProductName());
        app["category"] = picojson::value(category);
        apps.emplace_back(app);
    }
    return apps;
}

}  // namespace

void CloudAppQueryReq::Serialize(profile which, OptimizerProcessList* list, const AuthenticationData& user,
                                 std::string& body) {
    TRACE_SCOPE("CloudAppQueryReq::Serialize");
    const picojson::value apps(AppsOf(list, CategoryOf(which)));

    picojson::object source;
    source["user_email"] = picojson::value(user.email);
    source[kKeyToken] = picojson::value(user.token);
    source["partner_id"] = picojson::value(std::to_string(user.partnerId));

    picojson::object params;
    params["apps"] = apps;
    params[kKeySource] = picojson::value(source);

    picojson::object document;
    document["jsonrpc"] = picojson::value("2.0");
    document["method"] = picojson::value("add_process_info");
    document[kKeyParams] = picojson::value(params);

    body = picojson::value(document).serialize();
    TRACE_LINE(trace::kInformation, L"Serialization result: %S", WithoutToken(body, body).c_str());
}

}  // namespace optimizer
