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
    // Written out, since a name misspelt in the table would be missing from every real library.
    const char* const kNames[] = {"GetCurrentUserInfoBasic",
                                  "GetCurrentUserInfoAdvanced",
                                  "GetAccountsInfoBasic",
                                  "GetUserInfoBasic",
                                  "GetCurrentUserName",
                                  "SrvGetAccountsInfoBasic",
                                  "SrvGetCurrentUserInfoBasic",
                                  "FreeVXUsersList",
                                  "FreeVXUsersNamesList",
                                  "SrvGetCurrentUserName",
                                  "GetUsersNamesList",
                                  "SrvGetUsersNamesList",
                                  "RemoveInteractiveUserRights",
                                  "SrvGetCurrentUserInfoAdvanced",
                                  "SrvImpersonateCurrentUser",
                                  "SrvImpersonateUser",
                                  "SrvRevertToSelf",
                                  "RetriveLocalUsersIconsToVXCache"};
    std::wstring user;
    EXPECT_FALSE(GetCurrentUserName(user)) << "not bound yet";
    for (const char* const name : kNames) {
        frame_test::g_imports.missingExport = nullptr;
        ASSERT_TRUE(m_users.Bind());
        EXPECT_TRUE(GetCurrentUserName(user));
        frame_test::g_imports.missingExport = name;
        EXPECT_FALSE(m_users.Bind()) << name;
        EXPECT_FALSE(GetCurrentUserName(user));
    }
    frame_test::g_imports.missingLibrary = L"vxusers.dll";
    EXPECT_FALSE(m_users.Bind());
}

TEST_F(UsersLibrary, NamesOfTheUserForEventsAndForPeople) {
    const struct {
        const wchar_t* domain;
        const wchar_t* name;
        uint32_t result;
        const wchar_t* forEvents;
        const wchar_t* qualified;
    } kCases[] = {
        {L"HOME", L"ann", 1, L"HOME\\ann", L"HOME\\ann"},
        {L"", L"ann", 1, L"\\ann", L"ann"},
        {L"HOME", L"", 1, L"", L"HOME\\"},
        {L"HOME", L"ann", 0, L"", L""},
    };
    ASSERT_TRUE(m_users.Bind());
    for (const auto& c : kCases) {
        test_support::SetSimulatedUser(c.domain, c.name, c.result);
        std::wstring text = L"before";
        EXPECT_EQ(GetCurrentUserName(text), c.result != 0);
        EXPECT_EQ(text, c.forEvents);
        UserRecord record;
        EXPECT_EQ(m_users.Fill(VxUsersLibrary::kSrvGetCurrentUserInfoAdvanced, record), c.result != 0);
        EXPECT_EQ(QualifiedName(record), c.qualified);
    }
}

}  // namespace
}  // namespace optimizer
