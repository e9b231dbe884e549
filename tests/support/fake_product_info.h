#pragma once

#include <string>

#include "border/product_info.h"

namespace test_support {

/// The product configuration with a data folder and a server of the test's choice. It answers for exactly
/// what may be asked.
class FakeProductInfo final : public IProductInfo {
public:
    void* QueryInterface(const Identifier* iid) override { return *iid == kIdentifier ? this : nullptr; }
    uint32_t Init(IServMain*) override { return 0; }
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    void Reserved5() override {}
    const wchar_t* GetValue(int32_t kind, const wchar_t* key) override {
        if (kind == 0 && std::wstring(key) == L"CLOUD") return cloud.c_str();
        return kind == 2 && std::wstring(key) == L"common" ? folder.c_str() : nullptr;
    }

    std::wstring folder;
    std::wstring cloud;
};

}  // namespace test_support
