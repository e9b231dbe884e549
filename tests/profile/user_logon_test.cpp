// Session changes become logons and logoffs. The session's texts come through a seam in place of Terminal
// Services.
#include "profile/user_logon.h"

#include <cwchar>
#include <map>

#include <gtest/gtest.h>
#include <windows.h>

#include <wtsapi32.h>

#include "border/session_change.h"
#include "frame/users_library.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_plugin.h"
#include "tests/support/simulated_users.h"

namespace {

struct SessionAnswer {
    bool succeeds = true;
    DWORD error = 0;
    const wchar_t* text = L"";
};
std::map<int, SessionAnswer> g_answers;  // by the kind of text

}  // namespace

// In place of the import library's.
BOOL WINAPI WTSQuerySessionInformationW(HANDLE, DWORD, WTS_INFO_CLASS which, wchar_t** buffer, DWORD*) {
    const SessionAnswer& answer = g_answers[which];
    if (answer.succeeds) *buffer = _wcsdup(answer.text);
    SetLastError(answer.error);
    return answer.succeeds;
}

void WINAPI WTSFreeMemory(void* memory) {
    free(memory);
}

namespace optimizer {
namespace {

struct Observer final : IUserLogonObserver {
    void OnLogon(uint32_t time, const wchar_t* user) override {
        all.push_back(L"+" + std::wstring(user) + L"@" + std::to_wstring(time));
    }
    void OnLogoff(uint32_t, const wchar_t* user) override { all.push_back(L"-" + std::wstring(user)); }
    std::vector<std::wstring> all;
};

struct SessionChanges final : test_support::FakePlugin<ISessionChange> {
    uint32_t Subscribe(ISessionChangeEvents*) override { return subscribed = 1, 0; }
    uint32_t Unsubscribe(ISessionChangeEvents*) override { return subscribed = 0; }
    void Notify(uint32_t, uint32_t, const tagWTSSESSION_NOTIFICATION*) override {}
    int subscribed = 0;
};

class UserLogonTest : public testing::Test {
protected:
    UserLogonTest() : m_tracker(CUserLogon::Instance()) {
        VxUsersLibrary::Instance().Bind();
        test_support::SetSimulatedUser(L"DOM", L"ann");
        m_host.manager.plugins[L"sessionchange"] = &m_sessions;
        m_tracker.Observers().Add(&m_observer);
    }
    ~UserLogonTest() override { m_tracker.Observers().Remove(&m_observer, 0); }

    void Happens(uint32_t event) {
        const WTSSESSION_NOTIFICATION notification = {sizeof(notification), 1};
        m_tracker.OnSessionChange(5, event, &notification);
        m_host.queue.RunAll();
    }

    CUserLogon& m_tracker;  // one for the process: each test takes it and gives it back
    test_support::FakeHost m_host;
    SessionChanges m_sessions;
    Observer m_observer;
};

TEST_F(UserLogonTest, LogonsThatCantBeResolvedAreRetriedOnceByAConsoleConnect) {
    struct Step {
        uint32_t event;
        SessionAnswer name;
        SessionAnswer domain;
        const wchar_t* told;  // empty for nothing
    };
    const Step kSteps[] = {
        {WTS_SESSION_LOGON, {true, 0, L"bob"}, {true, 0, L"DOM"}, L"+DOM\\bob@5"},
        {WTS_SESSION_LOGON, {true, 0, L"eve"}, {false, 5, L""}, L"+eve@5"},
        {WTS_SESSION_LOGOFF, {}, {}, L"-eve"},
        {WTS_SESSION_LOGOFF, {}, {}, L"-eve"},  // a logoff leaves the stored user
        {WTS_SESSION_LOGON, {false, 5, L""}, {}, L""},
        {WTS_CONSOLE_CONNECT, {true, 0, L"kim"}, {true, 0, L""}, L"+kim@5"},
        {WTS_SESSION_LOGON, {true, 0, L""}, {}, L""},
        {WTS_CONSOLE_CONNECT, {false, 5, L""}, {}, L""},  // one retry only
        {WTS_CONSOLE_CONNECT, {true, 0, L"kim"}, {}, L""},
        {WTS_SESSION_LOGON, {false, 5, L""}, {}, L""},
        {WTS_SESSION_LOGOFF, {}, {}, L"-kim"},  // clears what was pending
        {WTS_CONSOLE_CONNECT, {true, 0, L"kim"}, {}, L""},
        {WTS_SESSION_LOGON, {false, 0, L""}, {}, L"+@5"},  // a failure without an error is a logon of nobody
        {WTS_SESSION_LOCK, {true, 0, L"kim"}, {}, L""},
    };
    ASSERT_EQ(m_tracker.Init(&m_host), 0U);
    ASSERT_EQ(m_tracker.Start(), 0U);
    EXPECT_EQ(m_tracker.User(), L"DOM\\ann") << "known without a session event";
    for (size_t i = 0; i < std::size(kSteps); ++i) {
        g_answers = {{WTSUserName, kSteps[i].name}, {WTSDomainName, kSteps[i].domain}};
        m_observer.all.clear();
        Happens(kSteps[i].event);
        const std::wstring told = m_observer.all.empty() ? L"" : m_observer.all.back();
        EXPECT_EQ(told, kSteps[i].told) << "step " << i;
    }
    m_tracker.Stop();
    m_tracker.Uninit();
    EXPECT_EQ(m_tracker.User(), L"");
}

TEST_F(UserLogonTest, TwoTakersMakeOneSubscription) {
    ASSERT_EQ(m_tracker.Init(&m_host) + m_tracker.Init(&m_host), 0U);
    EXPECT_EQ(m_tracker.Start() + m_tracker.Start(), 0U);
    m_tracker.Stop();
    EXPECT_EQ(m_sessions.subscribed, 1) << "the subscription ends with the last Stop";
    m_tracker.Stop();
    EXPECT_EQ(m_sessions.subscribed, 0);
    m_tracker.Uninit();
    EXPECT_EQ(m_tracker.User(), L"DOM\\ann");
    m_tracker.Uninit();
}

}  // namespace
}  // namespace optimizer
