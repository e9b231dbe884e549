#include "actions/power_functions.h"

#include <type_traits>

namespace optimizer {

namespace {

template <class Pointer>
bool Resolve(HMODULE library, const char* name, Pointer& function) {
    function = GetExport<std::remove_pointer_t<Pointer>>(library, name);
    return function != nullptr;
}

}  // namespace

bool PowerFunctions::Bind() {
    library.Reset(LoadLibraryW(L"PowrProf.dll"));
    const HMODULE from = library.Get();
    bound =
        from != nullptr && Resolve(from, "PowerGetActiveScheme", getActiveScheme) &&
        Resolve(from, "PowerSetActiveScheme", setActiveScheme) &&
        Resolve(from, "PowerReadDCValueIndex", readDC) && Resolve(from, "PowerWriteDCValueIndex", writeDC) &&
        Resolve(from, "PowerReadACValueIndex", readAC) && Resolve(from, "PowerWriteACValueIndex", writeAC);
    return bound;
}

}  // namespace optimizer
