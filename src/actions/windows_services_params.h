#pragma once

#include <string>
#include <vector>

#include "actions/optimizer_action.h"
#include "actions/service_states.h"

namespace optimizer {

struct ServiceRecord {
    bool operator==(const ServiceRecord&) const = default;

    std::wstring name;
    ServiceStatus status = ServiceStatus::None;
    ServiceStartup startup = ServiceStartup::None;
};

/// Upper and lower case are the same.
bool IsSameName(const std::wstring& left, const std::wstring& right);

/// A list of services, each with a run status and a start type. In JSON an array.
struct WindowsServicesParams final : IOptimizerActionSettings {
    void ToJson(picojson::value* out) const override;
    /// Elements that aren't objects or have no name are left out.
    void FromJson(const picojson::value* in) override;
    bool operator==(const WindowsServicesParams& other) const { return services == other.services; }

    /// The first record of that name; null when there is none.
    const ServiceRecord* Find(const std::wstring& name) const;

    std::vector<ServiceRecord> services;
};

}  // namespace optimizer
