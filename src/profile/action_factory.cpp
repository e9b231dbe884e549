#include "profile/action_factory.h"

#include "actions/block_win_notifications_action.h"
#include "actions/bluetooth_action.h"
#include "actions/disable_balloon_action.h"
#include "actions/hibernate_action.h"
#include "actions/postpone_windows_update.h"
#include "actions/power_plan.h"
#include "actions/usb_devices.h"
#include "actions/visual_fx.h"
#include "actions/windows_services_action.h"
#include "frame/json.h"
#include "frame/trace.h"
#include "processes/windows_processes_action.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kHibernateOnBattery = L"HibernateOnBattery";
constexpr const wchar_t* kHibernateOnCable = L"HibernateOnCable";

picojson::value ParseParameters(const std::wstring& name, const std::string& parameters) {
    TRACE_SCOPE("ParseParameters");
    picojson::value json;
    std::string error;
    if (json::Parse(parameters, json, error)) return json;
    TRACE_LINE(trace::kWarning, L"%s: %S", name.c_str(), error.c_str());
    return {};
}

using Creator = ActionPointer (*)(const picojson::value& parameters, IServMain* main);

struct Row {
    const wchar_t* name;
    Creator create;
};

template <class Parameters>
Parameters Read(const picojson::value& json) {
    Parameters parameters;
    parameters.FromJson(&json);
    return parameters;
}

/// Names are compared exactly and tried in this order. A new action joins with its class.
constexpr Row kActions[] = {
    {L"WindowsServices",
     [](const picojson::value& json, IServMain* main) {
         return ActionPointer(new CWindowsServicesAction(Read<WindowsServicesParams>(json), main));
     }},
    {L"PostponeWindowsUpdate",
     [](const picojson::value& json, IServMain*) {
         return ActionPointer(new CPostponeWindowsUpdate(Read<PostponeAutomaticUpdateParams>(json)));
     }},
    {L"BlockWinNotification",
     [](const picojson::value& json, IServMain* main) {
         return ActionPointer(
             new CBlockWinNotificationsAction(Read<BlockWinNotificationsParams>(json), main));
     }},
    {L"VisualFX",
     [](const picojson::value& json, IServMain* main) {
         return ActionPointer(new VisualFX(Read<VisualFXParams>(json), main));
     }},
    {L"PowerPlanAction",
     [](const picojson::value& json, IServMain*) {
         return ActionPointer(new CPowerPlan(Read<PowerPlanParams>(json)));
     }},
    {L"UsbDevices", [](const picojson::value&, IServMain*) { return ActionPointer(new CUsbDevices()); }},
    {L"Bluetooth",
     [](const picojson::value& json, IServMain*) {
         return ActionPointer(new CBluetoothAction(Read<BluetoothParams>(json)));
     }},
    {kHibernateOnBattery,
     [](const picojson::value& json, IServMain*) {
         return ActionPointer(new CHibernateAction(kHibernateOnBattery, true, Read<HibernateParams>(json)));
     }},
    {kHibernateOnCable,
     [](const picojson::value& json, IServMain*) {
         return ActionPointer(new CHibernateAction(kHibernateOnCable, false, Read<HibernateParams>(json)));
     }},
    {L"DisableBalloon",
     [](const picojson::value&, IServMain* main) { return ActionPointer(new CDisableBalloonAction(main)); }},
};

}  // namespace

ActionPointer CreateAction(const std::wstring& name, const std::string& parameters, IServMain* main) {
    TRACE_SCOPE("CreateAction");
    for (const Row& row : kActions) {
        if (name == row.name) return row.create(ParseParameters(name, parameters), main);
    }
    return nullptr;
}

std::unique_ptr<IOptimizerAction> CreateProcessWideAction(const std::string& parameters, IServMain* main) {
    TRACE_SCOPE("CreateProcessWideAction");
    return std::make_unique<CWindowsProcessesAction>(
        Read<WindowsProcessesParams>(ParseParameters(kProcessWideAction, parameters)), main);
}

}  // namespace optimizer
