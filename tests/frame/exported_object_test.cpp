// Objects from other libraries: the way they are loaded, each failure's code, and that nothing stays behind.
#include "frame/exported_object.h"

#include "frame/module_path.h"
#include "tests/frame/imports.h"
#include "tests/frame/test_component.h"

namespace optimizer {
namespace {

using frame_test::g_imports;

constexpr const wchar_t* kLibrary = L"test_component.dll";

class ExportedObjects : public frame_test::WithImports {
protected:
    ExportedObjects() { TakeEnded(); }

    /// The objects that the library has ended since the last time.
    static std::wstring TakeEnded() {
        wchar_t ended[256] = {};
        GetEnvironmentVariableW(kEndedObjects, ended, 256);
        SetEnvironmentVariableW(kEndedObjects, nullptr);
        return ended;
    }
};

TEST_F(ExportedObjects, EachStepOfTheLoadHasItsCodeAndLeavesNothing) {
    const struct {
        const wchar_t* path;
        const wchar_t* name;
        const char* missingExport;
        DWORD lastError;
        uint32_t error;
        const wchar_t* ended;
    } kCases[] = {
        {L"no_such_library.dll", L"thing", nullptr, 0, ERROR_MOD_NOT_FOUND, L""},
        {kLibrary, L"thing", "VxCreateObject", 127, ERROR_PROC_NOT_FOUND, L""},
        {kLibrary, L"thing", "VxDestroyObject", 127, ERROR_PROC_NOT_FOUND, L""},
        {kLibrary, L"thing", "VxDestroyObject", 0, 632, L""},
        {kLibrary, L"refused", nullptr, 0, 1234, L""},
        {kLibrary, L"nothing", nullptr, 0, 632, L""},
        {kLibrary, L"bare", nullptr, 0, 632, L"bare "},
    };
    for (const auto& c : kCases) {
        SCOPED_TRACE(testing::Message() << c.path << L" " << c.name << L" " << c.error);
        g_imports.missingExport = c.missingExport;
        g_imports.error = c.lastError;
        ExportedObject<IThing> object;
        EXPECT_EQ(object.Load(c.path, c.name), c.error);
        EXPECT_EQ(object.Get(), nullptr);
        EXPECT_EQ(object.QueryInterface(&IVxBaseInterface::kIdentifier), nullptr);
        EXPECT_EQ(TakeEnded(), c.ended);
        EXPECT_EQ(GetModuleHandleW(kLibrary), nullptr);
    }
}

TEST_F(ExportedObjects, HoldsOneObjectUntilTheNextLoadOrTheEnd) {
    {
        ExportedObject<IThing> object;
        ASSERT_EQ(object.Load(GetModuleFolder() + kLibrary, L"thing"), ERROR_SUCCESS);
        EXPECT_EQ(object.Get()->Answer(), 42U);
        EXPECT_EQ(object.QueryInterface(&IThing::kIdentifier), object.Get());
        EXPECT_EQ(object.QueryInterface(&IServPlugin::kIdentifier), nullptr);
        EXPECT_EQ(object.Load(L"no_such_library.dll", L"thing"), ERROR_MOD_NOT_FOUND);
        EXPECT_EQ(TakeEnded(), L"thing ") << "let go of before the new one is tried";
        ASSERT_EQ(object.Load(kLibrary, L"thing"), ERROR_SUCCESS);
    }
    EXPECT_EQ(TakeEnded(), L"thing ");
    EXPECT_EQ(GetModuleHandleW(kLibrary), nullptr);
}

TEST_F(ExportedObjects, OnlyAnAbsolutePathIsTriedAgainWithItsOwnFolder) {
    g_imports.missingLibrary = kLibrary;
    ExportedObject<IThing> object;
    EXPECT_EQ(object.Load(kLibrary, L"thing"), ERROR_PROC_NOT_FOUND);
    EXPECT_EQ(object.Load(GetModuleFolder() + kLibrary, L"thing"), ERROR_SUCCESS);
    g_imports.error = 0;
    EXPECT_EQ(object.Load(kLibrary, L"thing"), 632U);
}

}  // namespace
}  // namespace optimizer
