// The Windows Update Agent's class in a library of its own, for hosts that run as other processes.
#include "tests/support/update_agent.h"

extern "C" __declspec(dllexport) HRESULT WINAPI DllGetClassObject(const CLSID*, const IID*, void** object) {
    return test_support::GiveUpdateAgent(nullptr, object);
}
