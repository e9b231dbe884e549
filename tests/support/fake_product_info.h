#pragma once

#include <string>

#include "border/product_info.h"
#include "tests/support/fake_plugin.h"

namespace test_support {

/// The product configuration with a data folder and a server of the test's choice.
struct FakeProductInfo final : FakePlugin<IProductInfo> {
    void Reserved5() override {}
    const wchar_t* GetValue(int32_t kind, const wchar_t* key) override {
        if (kind == 0 && std::wstring(key) == L"CLOUD") return cloud.c_str();
        return kind == 2 && std::wstring(key) == L"common" ? folder.c_str() : nullptr;
    }

    std::wstring folder;
    std::wstring cloud;
};

}  // namespace test_support
