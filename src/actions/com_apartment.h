#pragma once

#include <objbase.h>

namespace optimizer {

/// Has COM ready on the thread that makes and ends it, unless somebody has initialised that the other way.
class ComApartment {
public:
    ComApartment() : m_result(CoInitialize(nullptr)) {}
    ~ComApartment() {
        if (SUCCEEDED(m_result)) CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    bool IsReady() const { return SUCCEEDED(m_result); }

private:
    HRESULT m_result;
};

}  // namespace optimizer
