#pragma once

#include <objbase.h>

namespace optimizer {

/// Has COM ready on the thread that makes and ends it.
class ComApartment {
public:
    ComApartment() : m_result(CoInitialize(nullptr)) {}
    ~ComApartment() {
        if (SUCCEEDED(m_result)) CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    /// A thread on which somebody has initialised COM the other way serves as well.
    bool IsReady() const { return SUCCEEDED(m_result) || m_result == RPC_E_CHANGED_MODE; }

private:
    HRESULT m_result;
};

}  // namespace optimizer
