// The exports of optimizerprocessdp.dll; optimizerprocessdp.def names them.
#include <iterator>

#include "frame/object_factory.h"
#include "optimizerprocessdp/optimizer_process_provider.h"

namespace {

const optimizer::ComponentEntry kComponents[] = {
    optimizer::OwnedComponent<host::COptimizerProcessProvider>(L"optimizerprocessdp"),
};

}  // namespace

extern "C" uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    return optimizer::CreateComponent(kComponents, std::size(kComponents), name, iid, out);
}

extern "C" void VxDestroyObject(const wchar_t* name, void* object) {
    optimizer::DestroyComponent(kComponents, std::size(kComponents), name, object);
}
