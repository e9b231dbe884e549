// The exports of framework.dll; framework.def names them.
#include <iterator>

#include "frame/object_factory.h"
#include "framework/serv_main.h"

namespace {

using host::CServMain;

/// IVxBaseInterface is a base of CServMain twice; IServMain's is the object's own.
CServMain* FromBase(IVxBaseInterface* object) {
    return static_cast<CServMain*>(static_cast<IServMain*>(object));
}

constexpr optimizer::ComponentEntry kComponents[] = {
    {kServMainName,
     []() -> IVxBaseInterface* { return static_cast<IServMain*>(new (std::nothrow) CServMain); },
     [](IVxBaseInterface* object) { delete FromBase(object); },
     [](void* object) { delete FromBase(static_cast<IVxBaseInterface*>(object)); }},
};

}  // namespace

extern "C" uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    return optimizer::CreateComponent(kComponents, std::size(kComponents), name, iid, out);
}

extern "C" void VxDestroyObject(const wchar_t* name, void* object) {
    optimizer::DestroyComponent(kComponents, std::size(kComponents), name, object);
}
