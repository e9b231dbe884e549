// Who is who: the library's own code over Terminal Services that answer as a test wants, so that the
// interactive user isn't the caller; and the finished library against what the system itself says.
#include "vxusers/vxusers_exports.h"

#include <cstring>
#include <string>

#include <windows.h>
#include <shlobj.h>
#include <wtsapi32.h>
#include <gtest/gtest.h>

#include "frame/handles.h"

namespace {

/// What Terminal Services answer for the console session.
struct Answers {
    std::wstring name;
    std::wstring domain;
    DWORD nameError = 0;
    DWORD domainError = 0;
};
Answers g_answers;

template <class Function>
Function* Export(const wchar_t* library, const char* name) {
    return optimizer::GetExport<Function>(LoadLibraryW(library), name);
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

}  // namespace

extern "C" {

// The platform's header doesn't import these four, so that defining them here takes the place of the
// system's.

BOOL WINAPI WTSQuerySessionInformationW(HANDLE, DWORD, WTS_INFO_CLASS what, LPWSTR* text, DWORD*) {
    const DWORD error = what == WTSUserName ? g_answers.nameError : g_answers.domainError;
    SetLastError(error);
    *text = error == 0 ? _wcsdup((what == WTSUserName ? g_answers.name : g_answers.domain).c_str()) : nullptr;
    return error == 0;
}

void WINAPI WTSFreeMemory(void* memory) {
    free(memory);
}

BOOL WINAPI WTSQueryUserToken(ULONG, HANDLE*) {
    SetLastError(ERROR_PRIVILEGE_NOT_HELD);
    return FALSE;
}

HRESULT WINAPI SHGetKnownFolderPath(REFKNOWNFOLDERID, DWORD, HANDLE, PWSTR* path) {
    *path = nullptr;
    return E_ACCESSDENIED;
}

}  // extern "C"

namespace {

TEST(VxUsers, ImpersonatesWhoIsLoggedOnAndNobodyElse) {
    g_answers = {CallersName(), L"VM"};
    UserRecord current = Named(L"old", L"old");
    UserRecord named = Named(CallersName(), L"vm");
    for (const auto& [function, record] :
         {std::pair(&SrvImpersonateCurrentUser, &current), {&SrvImpersonateUser, &named}}) {
        EXPECT_NE(function(record), 0u);
        EXPECT_TRUE(Impersonates());
        EXPECT_EQ(std::wstring(record->name), CallersName());
        EXPECT_NE(SrvRevertToSelf(), 0u);
        EXPECT_FALSE(Impersonates());
    }
    for (UserRecord absent : {Named(L"no_such_user_here"), Named(CallersName(), L"no_such_domain")}) {
        EXPECT_EQ(SrvImpersonateUser(&absent), 0u);
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
        ASSERT_NE(Export<UserRecordFunction>(L"vxusers.dll", name)(&record), 0u);
        EXPECT_EQ(std::wstring(record.name), CallersName());
        EXPECT_NE(record.domain[0], 0);
        EXPECT_EQ(std::wstring(record.appData), std::strstr(name, "Advanced") ? CallersAppData() : L"");
        EXPECT_EQ(Export<UserRecordFunction>(L"vxusers.dll", name)(nullptr), 0u);
    }
    UserRecord unknown = Named(L"no_such_user_here");
    EXPECT_EQ(GetUserInfoBasic(&unknown), 0u);
}

}  // namespace
