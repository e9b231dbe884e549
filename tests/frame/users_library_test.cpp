// The table of vxusers.dll: all of its functions or none.
#include "frame/users_library.h"

#include "tests/frame/imports.h"
#include "tests/support/simulated_users.h"

namespace optimizer {
namespace {

class UsersLibrary : public frame_test::WithImports {
protected:
    UsersLibrary() { test_support::SetSimulatedUser(L"HOME", L"ann"); }
    ~UsersLibrary() override { m_users.Unbind(); }

    VxUsersLibrary& m_users = VxUsersLibrary::Instance();
};

TEST_F(UsersLibrary, OneMissingFunctionEmptiesTheWholeTable) {
    std::wstring user;
    EXPECT_FALSE(GetCurrentUserName(user)) << "not bound yet";
    for (const char* const name :
         {"GetCurrentUserInfoBasic", "SrvRevertToSelf", "RetriveLocalUsersIconsToVXCache"}) {
        frame_test::g_imports.missingExport = nullptr;
        ASSERT_TRUE(m_users.Bind());
        EXPECT_TRUE(GetCurrentUserName(user));
        frame_test::g_imports.missingExport = name;
        EXPECT_FALSE(m_users.Bind()) << name;
        EXPECT_FALSE(GetCurrentUserName(user));
    }
}

}  // namespace
}  // namespace optimizer
