// vxusers.dll as its users bind it: every function, called for real, against what the system itself answers.
#include "vxusers/vxusers_exports.h"

#include <cstring>
#include <string>

#include <windows.h>
#include <sddl.h>
#include <shlobj.h>
#include <wtsapi32.h>
#include <gtest/gtest.h>

#include "frame/handles.h"

namespace {

using optimizer::KernelHandle;
using optimizer::Library;

class VxUsers : public testing::Test {
protected:
    VxUsers() : m_library(LoadLibraryW(L"vxusers.dll")) {}

    template <class Function>
    Function* Get(const char* name) const {
        Function* const function = optimizer::GetExport<Function>(m_library.Get(), name);
        EXPECT_NE(function, nullptr) << name;
        return function;
    }
    UserRecordFunction* Record(const char* name) const { return Get<UserRecordFunction>(name); }

    Library m_library;
};

/// A record full of leftovers, as a caller's stack may be.
UserRecord UsedRecord() {
    UserRecord record;
    std::memset(&record, 0x41, sizeof(record));
    return record;
}

std::wstring SystemUserName() {
    wchar_t name[256] = L"";
    DWORD length = 256;
    EXPECT_TRUE(GetUserNameW(name, &length));
    return name;
}

/// Asks Terminal Services themselves; this program has functions of these names too.
std::wstring SystemDomain() {
    const Library services(LoadLibraryW(L"wtsapi32.dll"));
    const auto query = optimizer::GetExport<decltype(WTSQuerySessionInformationW)>(
        services.Get(), "WTSQuerySessionInformationW");
    wchar_t* domain = nullptr;
    DWORD size = 0;
    EXPECT_TRUE(query(nullptr, WTS_CURRENT_SESSION, WTSDomainName, &domain, &size));
    const std::wstring text = domain;
    optimizer::GetExport<decltype(WTSFreeMemory)>(services.Get(), "WTSFreeMemory")(domain);
    return text;
}

std::wstring SystemAppData() {
    wchar_t path[MAX_PATH] = L"";
    EXPECT_EQ(SHGetFolderPathW(nullptr, CSIDL_APPDATA, nullptr, SHGFP_TYPE_CURRENT, path), S_OK);
    return path;
}

UserRecord Named(const std::wstring& name, const std::wstring& domain) {
    UserRecord record = {};
    name.copy(record.name, 49);
    domain.copy(record.domain, 49);
    return record;
}

bool Impersonates() {
    KernelHandle token;
    return OpenThreadToken(GetCurrentThread(), TOKEN_QUERY, TRUE, token.Receive()) != FALSE;
}

TEST_F(VxUsers, ExportsTheEighteenFunctionsAndNothingElse) {
    const auto* const base = reinterpret_cast<const std::byte*>(m_library.Get());
    const auto* const dos = reinterpret_cast<const IMAGE_DOS_HEADER*>(base);
    const auto* const headers = reinterpret_cast<const IMAGE_NT_HEADERS64*>(base + dos->e_lfanew);
    const auto& entry = headers->OptionalHeader.DataDirectory[IMAGE_DIRECTORY_ENTRY_EXPORT];
    const auto* const exports = reinterpret_cast<const IMAGE_EXPORT_DIRECTORY*>(base + entry.VirtualAddress);
    EXPECT_EQ(exports->NumberOfNames, 18u);
}

TEST_F(VxUsers, TellsTheUserThatTheSystemTells) {
    const struct {
        const char* name;
        bool advanced;
    } kFunctions[] = {
        {"GetCurrentUserName", false},        {"SrvGetCurrentUserName", false},
        {"GetCurrentUserInfoBasic", false},   {"SrvGetCurrentUserInfoBasic", false},
        {"GetCurrentUserInfoAdvanced", true}, {"SrvGetCurrentUserInfoAdvanced", true},
    };
    for (const auto& function : kFunctions) {
        SCOPED_TRACE(function.name);
        UserRecord record = UsedRecord();
        ASSERT_NE(Record(function.name)(&record), 0u);
        EXPECT_EQ(std::wstring(record.name), SystemUserName());
        EXPECT_EQ(std::wstring(record.domain), SystemDomain());
        EXPECT_EQ(std::wstring(record.appData), function.advanced ? SystemAppData() : L"");
        EXPECT_EQ(record.reserved1 | record.reserved2, 0u);

        EXPECT_EQ(Record(function.name)(nullptr), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    }
}

TEST_F(VxUsers, FindsAUserByTheNameAlone) {
    const auto getUserInfo = Record("GetUserInfoBasic");
    UserRecord record = Named(SystemUserName(), L"");
    ASSERT_NE(getUserInfo(&record), 0u);
    EXPECT_EQ(std::wstring(record.name), SystemUserName());
    EXPECT_EQ(std::wstring(record.domain), SystemDomain());

    UserRecord unknown = Named(L"no_such_user_here", L"");
    EXPECT_EQ(getUserInfo(&unknown), 0u);
    EXPECT_STREQ(unknown.name, L"no_such_user_here");
    UserRecord endless = UsedRecord();
    EXPECT_EQ(getUserInfo(&endless), 0u);
    EXPECT_EQ(GetLastError(), DWORD{ERROR_INVALID_PARAMETER});
    UserRecord empty = {};
    EXPECT_EQ(getUserInfo(&empty), 0u);
    EXPECT_EQ(getUserInfo(nullptr), 0u);
}

TEST_F(VxUsers, ListsHoldTheCurrentUserAndOnlyUsersWithAnIdentifier) {
    const struct {
        const char* get;
        const char* free;
    } kLists[] = {{"GetAccountsInfoBasic", "FreeVXUsersList"},
                  {"SrvGetAccountsInfoBasic", "FreeVXUsersList"},
                  {"GetUsersNamesList", "FreeVXUsersNamesList"},
                  {"SrvGetUsersNamesList", "FreeVXUsersNamesList"}};
    for (const auto& functions : kLists) {
        SCOPED_TRACE(functions.get);
        UserList* const list = Get<UserListFunction>(functions.get)();
        ASSERT_NE(list, nullptr);
        int current = 0;
        for (UserRecord** entry = list->begin; entry != list->end; ++entry) {
            const std::wstring account = std::wstring((*entry)->domain) + L"\\" + (*entry)->name;
            BYTE sid[SECURITY_MAX_SID_SIZE];
            DWORD sidSize = sizeof(sid);
            wchar_t domain[256];
            DWORD domainLength = 256;
            SID_NAME_USE use = SidTypeUnknown;
            EXPECT_TRUE(
                LookupAccountNameW(nullptr, account.c_str(), sid, &sidSize, domain, &domainLength, &use));
            if (account == SystemDomain() + L"\\" + SystemUserName()) ++current;
        }
        EXPECT_EQ(current, 1);
        Get<FreeUserListFunction>(functions.free)(list);
        Get<FreeUserListFunction>(functions.free)(nullptr);
    }
}

TEST_F(VxUsers, ImpersonatesAndReverts) {
    const auto revert = Get<RevertToSelfFunction>("SrvRevertToSelf");
    ASSERT_NE(Record("SrvImpersonateCurrentUser")(nullptr), 0u);
    EXPECT_TRUE(Impersonates());
    UserRecord record = UsedRecord();
    EXPECT_NE(Record("GetCurrentUserInfoBasic")(&record), 0u);
    EXPECT_EQ(std::wstring(record.name), SystemUserName());
    EXPECT_NE(revert(), 0u);
    EXPECT_FALSE(Impersonates());

    record = UsedRecord();
    ASSERT_NE(Record("SrvImpersonateCurrentUser")(&record), 0u);
    EXPECT_EQ(std::wstring(record.name), SystemUserName());
    EXPECT_NE(revert(), 0u);

    record = Named(SystemUserName(), SystemDomain());
    ASSERT_NE(Record("SrvImpersonateUser")(&record), 0u);
    EXPECT_TRUE(Impersonates());
    EXPECT_NE(revert(), 0u);
}

TEST_F(VxUsers, ImpersonatesNobodyWhoIsNotLoggedOn) {
    UserRecord unknown = Named(L"no_such_user_here", L"");
    UserRecord elsewhere = Named(SystemUserName(), L"no_such_domain");
    for (UserRecord* const record : {&unknown, &elsewhere}) {
        EXPECT_EQ(Record("SrvImpersonateUser")(record), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_NOT_LOGGED_ON});
    }
    EXPECT_EQ(Record("SrvImpersonateUser")(nullptr), 0u);
    EXPECT_FALSE(Impersonates());
}

TEST_F(VxUsers, SaysThatTwoFunctionsAreNotThere) {
    for (const char* const name : {"RemoveInteractiveUserRights", "RetriveLocalUsersIconsToVXCache"}) {
        SetLastError(0);
        EXPECT_EQ(Record(name)(nullptr), 0u);
        EXPECT_EQ(GetLastError(), DWORD{ERROR_CALL_NOT_IMPLEMENTED}) << name;
    }
}

}  // namespace
