// The library's own code over Terminal Services and known folders that answer as a test wants: what can't be
// had from the machine that runs the tests.
#include "vxusers/vxusers_exports.h"

#include <string>

#include <windows.h>
#include <shlobj.h>
#include <wtsapi32.h>
#include <gtest/gtest.h>

#include "frame/handles.h"

namespace {

/// What the replaced functions answer.
struct Answers {
    std::wstring name;
    std::wstring domain;
    DWORD nameError = 0;
    DWORD domainError = 0;
};
Answers g_answers;

constexpr wchar_t kSomebodyElse[] = L"somebody_else";

/// Knows one account more than the machine.
BOOL WINAPI LookUpName(LPCWSTR system, LPCWSTR account, PSID sid, DWORD* sidSize, LPWSTR domain,
                       DWORD* domainLength, SID_NAME_USE* use) {
    if (std::wstring(account) != kSomebodyElse) {
        const auto real = optimizer::GetExport<decltype(LookupAccountNameW)>(
            GetModuleHandleW(L"advapi32.dll"), "LookupAccountNameW");
        return real(system, account, sid, sidSize, domain, domainLength, use);
    }
    *domainLength = 1;
    *use = SidTypeUser;
    const BOOL room = *sidSize >= GetSidLengthRequired(2);
    if (room) {
        SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
        InitializeSid(sid, &authority, 2);
        *GetSidSubAuthority(sid, 0) = SECURITY_NT_NON_UNIQUE;
        *GetSidSubAuthority(sid, 1) = 4711;
    } else {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
    }
    *sidSize = GetSidLengthRequired(2);
    return room;
}

}  // namespace

extern "C" {
decltype(&LookupAccountNameW) __imp_LookupAccountNameW = &LookUpName;
}

// The platform's header doesn't import these four, so that defining them here takes the place of the
// system's.
extern "C" {

BOOL WINAPI WTSQuerySessionInformationW(HANDLE, DWORD, WTS_INFO_CLASS what, LPWSTR* text, DWORD* size) {
    const DWORD error = what == WTSUserName ? g_answers.nameError : g_answers.domainError;
    if (error != 0) {
        SetLastError(error);
        return FALSE;
    }
    const std::wstring& answer = what == WTSUserName ? g_answers.name : g_answers.domain;
    *text = _wcsdup(answer.c_str());
    *size = static_cast<DWORD>((answer.size() + 1) * sizeof(wchar_t));
    return TRUE;
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

UserRecord Leftovers() {
    return {L"old name", L"old domain", 1, 1, L"old path"};
}

void ExpectEmpty(const UserRecord& record) {
    EXPECT_STREQ(record.name, L"");
    EXPECT_STREQ(record.domain, L"");
    EXPECT_STREQ(record.appData, L"");
}

TEST(InteractiveUser, FailuresLeaveAnEmptyRecordAndTheReason) {
    const struct {
        const char* what;
        Answers answers;
        DWORD error;
    } kCases[] = {
        {"nobody is logged on", {L"", L"VM", 0, 0}, ERROR_NOT_LOGGED_ON},
        {"the query fails", {L"user", L"VM", ERROR_ACCESS_DENIED, 0}, ERROR_ACCESS_DENIED},
        {"a name one character too long", {std::wstring(50, L'n'), L"VM", 0, 0}, ERROR_BUFFER_OVERFLOW},
        {"a domain one character too long", {L"user", std::wstring(50, L'd'), 0, 0}, ERROR_BUFFER_OVERFLOW},
    };
    for (const auto& testCase : kCases) {
        SCOPED_TRACE(testCase.what);
        g_answers = testCase.answers;
        for (const auto function : {&SrvGetCurrentUserName, &SrvGetCurrentUserInfoBasic,
                                    &SrvGetCurrentUserInfoAdvanced, &SrvImpersonateCurrentUser}) {
            UserRecord record = Leftovers();
            EXPECT_EQ(function(&record), 0u);
            EXPECT_EQ(GetLastError(), testCase.error);
            ExpectEmpty(record);
        }
        UserList* const list = SrvGetAccountsInfoBasic();
        ASSERT_NE(list, nullptr) << "the machine's accounts are there all the same";
        EXPECT_NE(list->begin, list->end);
        FreeVXUsersList(list);
    }
}

TEST(InteractiveUser, ANameThatJustFitsAndAFailedDomainAreFine) {
    g_answers = {std::wstring(49, L'n'), L"VM", 0, ERROR_ACCESS_DENIED};
    UserRecord record = Leftovers();
    ASSERT_NE(SrvGetCurrentUserName(&record), 0u);
    EXPECT_EQ(std::wstring(record.name), g_answers.name);
    EXPECT_STREQ(record.domain, L"");
}

TEST(InteractiveUser, WithoutATokenTheFolderComesFromTheRegistryAndTheTokenFromTheProcess) {
    wchar_t name[256] = L"";
    DWORD length = 256;
    ASSERT_TRUE(GetUserNameW(name, &length));
    g_answers = {name, L"", 0, 0};
    wchar_t expected[MAX_PATH] = L"";
    ASSERT_EQ(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, expected), S_OK);

    UserRecord record = Leftovers();
    ASSERT_NE(SrvGetCurrentUserInfoAdvanced(&record), 0u);
    EXPECT_STREQ(record.appData, expected);
    EXPECT_NE(SrvImpersonateCurrentUser(nullptr), 0u);
    EXPECT_NE(SrvRevertToSelf(), 0u);
}

TEST(InteractiveUser, NobodyElsesTokenStandsInForTheUsers) {
    g_answers = {kSomebodyElse, L"", 0, 0};
    UserRecord record = Leftovers();
    ASSERT_NE(SrvGetCurrentUserInfoAdvanced(&record), 0u);
    EXPECT_STREQ(record.name, kSomebodyElse);
    EXPECT_STREQ(record.appData, L"") << "the caller's own folder would be wrong";
    EXPECT_EQ(SrvImpersonateCurrentUser(nullptr), 0u);
}

}  // namespace
