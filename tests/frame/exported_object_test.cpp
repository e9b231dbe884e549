// Objects from other libraries: each failure's code, and that nothing stays behind.
#include "frame/exported_object.h"

#include "border/optimizer.h"
#include "tests/frame/imports.h"

namespace optimizer {
namespace {

class ExportedObjects : public frame_test::WithImports {};

constexpr const wchar_t* kLibrary = L"optimizeral.dll";

TEST_F(ExportedObjects, EachStepOfTheLoadHasItsCodeAndLeavesNothing) {
    const struct {
        const wchar_t* path;
        const wchar_t* name;
        const char* missingExport;
        uint32_t error;
    } kCases[] = {
        {L"no_such_library.dll", L"optimizeral", nullptr, ERROR_MOD_NOT_FOUND},
        {kLibrary, L"optimizeral", "VxCreateObject", ERROR_PROC_NOT_FOUND},
        {kLibrary, L"optimizeral", "VxDestroyObject", ERROR_PROC_NOT_FOUND},
        {kLibrary, L"unknown", nullptr, ERROR_NOT_FOUND},
        {kLibrary, L"optimizersettings", nullptr, 632},
    };
    for (const auto& c : kCases) {
        frame_test::g_imports.missingExport = c.missingExport;
        ExportedObject<IOptimizer> object;
        EXPECT_EQ(object.Load(c.path, c.name), c.error) << c.missingExport;
        EXPECT_EQ(object.Get(), nullptr);
        EXPECT_EQ(GetModuleHandleW(kLibrary), nullptr);
    }
}

TEST_F(ExportedObjects, EndsTheObjectBeforeTheNextLoad) {
    const Library kept(LoadLibraryW(kLibrary));
    ExportedObject<IOptimizer> object;
    ASSERT_EQ(object.Load(kLibrary, L"optimizeral"), ERROR_SUCCESS);
    EXPECT_EQ(object.QueryInterface(&IOptimizer::kIdentifier), object.Get());
    EXPECT_NE(GetModuleHandleW(L"log.dll"), nullptr) << "the engine holds the log while it lives";
    EXPECT_EQ(object.Load(L"no_such_library.dll", L"optimizeral"), ERROR_MOD_NOT_FOUND);
    EXPECT_EQ(GetModuleHandleW(L"log.dll"), nullptr);
}

}  // namespace
}  // namespace optimizer
