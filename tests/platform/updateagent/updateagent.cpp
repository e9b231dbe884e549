// The Windows Update Agent's class in a library of its own, for hosts that run as other processes.
#include "tests/support/update_agent.h"

extern "C" __declspec(dllexport) HRESULT WINAPI DllGetClassObject(const CLSID*, const IID*, void** object) {
    static test_support::UpdateAgent agent([](const std::string&) { return S_OK; });
    return agent.Give("", object);
}
