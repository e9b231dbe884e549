// The exports of connector.dll; connector.def names them.
#include <iterator>

#include "connector/conn_client.h"
#include "connector/conn_server.h"
#include "frame/object_factory.h"

namespace {

using host::CConnServer;

/// The object by either of its interfaces: each answers for the other.
CConnServer* FromBase(IVxBaseInterface* object) {
    return static_cast<CConnServer*>(
        static_cast<IServPlugin*>(object->QueryInterface(&IServPlugin::kIdentifier)));
}

constexpr optimizer::ComponentEntry kComponents[] = {
    {L"connserver",
     []() -> IVxBaseInterface* { return static_cast<IServPlugin*>(new (std::nothrow) CConnServer); },
     [](IVxBaseInterface* object) { delete FromBase(object); },
     [](void* object) { delete FromBase(static_cast<IVxBaseInterface*>(object)); }},
    optimizer::OwnedComponent<host::CConnClient, IConnectorClient>(L"connclient"),
};

}  // namespace

extern "C" uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    return optimizer::CreateComponent(kComponents, std::size(kComponents), name, iid, out);
}

extern "C" void VxDestroyObject(const wchar_t* name, void* object) {
    optimizer::DestroyComponent(kComponents, std::size(kComponents), name, object);
}
