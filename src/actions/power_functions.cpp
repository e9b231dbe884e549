#include "actions/power_functions.h"

#include <type_traits>

#include "frame/text.h"

#include <objbase.h>

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

std::optional<GUID> PowerFunctions::ActiveScheme() const {
    LocalMemory scheme;
    if (getActiveScheme(nullptr, reinterpret_cast<GUID**>(scheme.Receive())) != ERROR_SUCCESS)
        return std::nullopt;
    return *static_cast<const GUID*>(scheme.Get());
}

std::string SchemeText(const GUID& scheme) {
    wchar_t text[39] = L"";
    StringFromGUID2(scheme, text, 39);
    return Narrow(text);
}

bool SchemeFromText(const std::string& text, GUID& scheme) {
    return !text.empty() && CLSIDFromString(Widen(text).c_str(), &scheme) == S_OK;
}

}  // namespace optimizer
