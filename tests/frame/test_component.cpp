#include "tests/frame/test_component.h"

#include <cwchar>
#include <string>

#include <windows.h>

namespace {

class Thing final : public IThing {
public:
    explicit Thing(bool complete) : m_complete(complete) {}

    void* QueryInterface(const Identifier* iid) override {
        return *iid == IVxBaseInterface::kIdentifier || (m_complete && *iid == kIdentifier) ? this : nullptr;
    }
    uint32_t Answer() override { return 42; }

private:
    bool m_complete;
};

}  // namespace

extern "C" {

/// "thing" is complete, "bare" lacks its interface, "refused" is refused, and for "nothing" the library
/// reports success without an object.
__declspec(dllexport) uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    *out = nullptr;
    if (*iid != IVxBaseInterface::kIdentifier) return ERROR_INVALID_DATA;
    if (std::wcscmp(name, L"refused") == 0) return 1234;
    if (std::wcscmp(name, L"nothing") != 0) *out = new Thing(std::wcscmp(name, L"thing") == 0);
    return ERROR_SUCCESS;
}

__declspec(dllexport) void VxDestroyObject(const wchar_t* name, void* object) {
    wchar_t ended[256] = {};
    GetEnvironmentVariableW(kEndedObjects, ended, 256);
    SetEnvironmentVariableW(kEndedObjects, (std::wstring(ended) + name + L" ").c_str());
    delete static_cast<Thing*>(object);
}

}  // extern "C"
