// "productinfo" from its real library, beside a settings file of each test's own.
#include <memory>
#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "border/product_info.h"
#include "frame/exported_object.h"
#include "frame/module_path.h"
#include "tests/host/plugins/raw_slot.h"
#include "tests/support/temporary_folder.h"

namespace {

using optimizer::ExportedObject;
using GetValueFunction = const wchar_t*(void* object, int32_t kind, const wchar_t* key);

class ProductInfo : public testing::Test {
protected:
    ProductInfo() {
        const std::wstring original = optimizer::GetModuleFolder() + L"iservconfig.dll";
        if (!CopyFileW(original.c_str(), Library().c_str(), TRUE)) throw std::runtime_error("copy");
        CreateDirectoryW(m_folder.File(L"settings").c_str(), nullptr);
    }

    std::wstring Library() const { return m_folder.File(L"iservconfig.dll"); }
    void WriteSettings(const std::string& json) const {
        test_support::WriteFileText(m_folder.File(L"settings\\productinfo.json"), json);
    }
    void Load(const Identifier& iid = IProductInfo::kIdentifier) {
        ASSERT_EQ(m_object.Load(Library(), L"ProductInfo", iid), 0u);
    }
    std::wstring Value(int32_t kind, const wchar_t* key) {
        return RawSlot<GetValueFunction>(m_object.Get(), 6)(m_object.Get(), kind, key);
    }

    test_support::TemporaryFolder m_folder;
    ExportedObject<IProductInfo> m_object;
};

TEST_F(ProductInfo, GivesTextsByKindAndKeyWithVariablesReplaced) {
    ASSERT_TRUE(SetEnvironmentVariableW(L"PRODUCT_TEST", L"D:\\data"));
    WriteSettings(R"({"0":{"BASE":"Optimizer","number":7},"2":{"common":"%PRODUCT_TEST%\\x"},
                      "two":{"common":"y"},"2x":{"common":"z"},"3":"no object"})");
    Load();
    EXPECT_EQ(m_object.Get()->Init(nullptr), 0u);
    EXPECT_EQ(Value(0, L"BASE"), L"Optimizer");
    EXPECT_EQ(Value(2, L"common"), L"D:\\data\\x");
    EXPECT_EQ(Value(0, L"number"), L"");
    EXPECT_EQ(Value(0, L"common"), L"");
    EXPECT_EQ(Value(2, nullptr), L"");
}

TEST_F(ProductInfo, WorksUninitialisedAndKeepsWhatItHandedOut) {
    WriteSettings(R"({"0":{"BASE":"first"}})");
    Load(kConfigurationObjectIdentifier);
    const wchar_t* const text = m_object.Get()->GetValue(0, L"BASE");
    WriteSettings(R"({"0":{"BASE":"second"}})");
    EXPECT_EQ(m_object.Get()->Init(nullptr), 0u);
    m_object.Get()->UnInit();
    EXPECT_STREQ(text, L"first");
    EXPECT_EQ(m_object.Get()->GetValue(0, L"BASE"), text);
}

TEST_F(ProductInfo, AnAbsentOrDamagedFileGivesEmptyTexts) {
    for (const char* const json :
         {"", "{", "[]", "null", R"({"2":["common"]})", R"({"2":{"common":null}})"}) {
        if (json[0] != 0) WriteSettings(json);
        Load();
        EXPECT_EQ(m_object.Get()->Init(nullptr), 0u);
        EXPECT_EQ(Value(2, L"common"), L"") << json;
    }
}

TEST_F(ProductInfo, AnswersForItsInterfacesOnly) {
    constexpr Identifier kForeign = {1, 2, 3, {4}};
    Load();
    EXPECT_NE(m_object.QueryInterface(&IServPlugin::kIdentifier), nullptr);
    EXPECT_EQ(m_object.QueryInterface(&kForeign), nullptr);
    EXPECT_EQ(m_object.QueryInterface(nullptr), nullptr);
}

}  // namespace
