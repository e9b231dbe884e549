// The exports of hostplugins.dll: the plug-ins that have no library of their own; hostplugins.def names them.
#include <iterator>

#include "frame/object_factory.h"
#include "plugins/process_provider.h"
#include "plugins/cloud.h"
#include "plugins/load_usage.h"
#include "plugins/registration_status.h"
#include "plugins/session_change.h"

namespace {

const optimizer::ComponentEntry kComponents[] = {
    optimizer::OwnedComponent<host::CProcessProvider>(L"processdp"),
    optimizer::OwnedComponent<host::CCloud>(L"icloud"),
    optimizer::OwnedComponent<host::CRegistrationStatus>(L"regal"),
    optimizer::OwnedComponent<host::CLoadUsage>(L"LoadUsage"),
    optimizer::OwnedComponent<host::CSessionChange>(L"sessionchange"),
};

}  // namespace

extern "C" uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    return optimizer::CreateComponent(kComponents, std::size(kComponents), name, iid, out);
}

extern "C" void VxDestroyObject(const wchar_t* name, void* object) {
    optimizer::DestroyComponent(kComponents, std::size(kComponents), name, object);
}
