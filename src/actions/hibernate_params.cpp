#include "actions/hibernate_params.h"

#include "frame/json.h"

namespace optimizer {

void HibernateParams::ToJson(picojson::value* out) const {
    picojson::object object;
    object["active"] = picojson::value(active);
    object["time"] = picojson::value(static_cast<double>(time));
    if (!scheme.empty()) object["scheme"] = picojson::value(scheme);
    *out = picojson::value(object);
}

void HibernateParams::FromJson(const picojson::value* in) {
    active = json::ToBool(json::Find(*in, "active")).value_or(active);
    time = json::ToUint32(json::Find(*in, "time")).value_or(time);
    scheme = json::ToText(json::Find(*in, "scheme")).value_or(scheme);
}

}  // namespace optimizer
