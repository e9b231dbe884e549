// Who is who: the library against what the system itself says.
#include <cstring>
#include <string>

#include <windows.h>
#include <shlobj.h>
#include <gtest/gtest.h>

#include "border/users_library.h"
#include "frame/handles.h"

namespace {

template <class Function>
Function* Export(const wchar_t* library, const char* name) {
    return optimizer::GetExport<Function>(LoadLibraryW(library), name);
}

uint32_t Call(const char* name, UserRecord* record) {
    return Export<UserRecordFunction>(L"vxusers.dll", name)(record);
}

std::wstring CallersName() {
    wchar_t name[256] = L"";
    DWORD length = 256;
    EXPECT_TRUE(GetUserNameW(name, &length));
    return name;
}

std::wstring CallersAppData() {
    wchar_t path[MAX_PATH] = L"";
    EXPECT_EQ(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path), S_OK);
    return path;
}

UserRecord Named(const std::wstring& name, const std::wstring& domain = L"") {
    UserRecord record;
    std::memset(&record, 0x41, sizeof(record));  // leftovers, as on a caller's stack
    wcscpy_s(record.name, name.c_str());
    wcscpy_s(record.domain, domain.c_str());
    return record;
}

bool Impersonates() {
    optimizer::KernelHandle token;
    return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()) != FALSE;
}

TEST(VxUsers, ImpersonatesWhoIsLoggedOnAndNobodyElse) {
    UserRecord current = Named(L"old", L"old");
    UserRecord named = Named(CallersName());
    for (const auto& [function, record] :
         {std::pair("SrvImpersonateCurrentUser", &current), {"SrvImpersonateUser", &named}}) {
        EXPECT_NE(Call(function, record), 0u);
        EXPECT_TRUE(Impersonates());
        EXPECT_EQ(std::wstring(record->name), CallersName());
        EXPECT_NE(Export<RevertToSelfFunction>(L"vxusers.dll", "SrvRevertToSelf")(), 0u);
        EXPECT_FALSE(Impersonates());
    }
    for (UserRecord absent : {Named(L"no_such_user_here"), Named(CallersName(), L"no_such_domain")}) {
        EXPECT_EQ(Call("SrvImpersonateUser", &absent), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_LOGGED_ON});
    }
    EXPECT_FALSE(Impersonates());
}

TEST(VxUsers, TheLibraryTellsTheUserThatTheSystemTells) {
    for (const char* const name : {"GetCurrentUserName", "SrvGetCurrentUserName", "GetCurrentUserInfoBasic",
                                   "SrvGetCurrentUserInfoBasic", "GetCurrentUserInfoAdvanced",
                                   "SrvGetCurrentUserInfoAdvanced", "GetUserInfoBasic"}) {
        SCOPED_TRACE(name);
        UserRecord record = Named(CallersName());
        ASSERT_NE(Call(name, &record), 0u);
        EXPECT_EQ(std::wstring(record.name), CallersName());
        EXPECT_NE(record.domain[0], 0);
        EXPECT_EQ(std::wstring(record.appData), std::strstr(name, "Advanced") ? CallersAppData() : L"");
        EXPECT_EQ(Call(name, nullptr), 0u);
    }
    UserRecord unknown = Named(L"no_such_user_here");
    EXPECT_EQ(Call("GetUserInfoBasic", &unknown), 0u);
}

}  // namespace
