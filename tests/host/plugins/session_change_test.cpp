// "sessionchange" from its real library, called by slot as another compiler's callers do.
#include <vector>
#include <atomic>
#include <thread>

#include <windows.h>
#include <wtsapi32.h>
#include <gtest/gtest.h>

#include "border/session_change.h"
#include "frame/exported_object.h"
#include "frame/module_path.h"
#include "tests/host/plugins/raw_slot.h"

namespace {

constexpr DWORD kPatienceMs = 10000;

using SubscribeFunction = uint32_t(void* object, ISessionChangeEvents* observer);
using NotifyFunction = void(void* object, uint32_t time, uint32_t event,
                            const tagWTSSESSION_NOTIFICATION* notification);

struct Heard {
    int observer;
    uint32_t time;
    uint32_t event;
    const tagWTSSESSION_NOTIFICATION* notification;
    bool operator==(const Heard&) const = default;
};

class Observer final : public ISessionChangeEvents {
public:
    Observer(int number, std::vector<Heard>& heard) : m_number(number), m_heard(heard) {}
    void OnSessionChange(uint32_t time, uint32_t event,
                         const tagWTSSESSION_NOTIFICATION* notification) override {
        m_heard.push_back({m_number, time, event, notification});
    }

private:
    int m_number;
    std::vector<Heard>& m_heard;
};

/// Stays in its notification until it is let go.
class SlowObserver final : public ISessionChangeEvents {
public:
    void OnSessionChange(uint32_t, uint32_t, const tagWTSSESSION_NOTIFICATION*) override {
        SetEvent(inside.Get());
        WaitForSingleObject(letGo.Get(), kPatienceMs);
        left = true;
    }

    optimizer::KernelHandle inside{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    optimizer::KernelHandle letGo{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    std::atomic<bool> left = false;
};

class SessionChange : public testing::Test {
protected:
    void SetUp() override {
        const std::wstring library = optimizer::GetModuleFolder() + L"hostplugins.dll";
        ASSERT_EQ(m_object.Load(library, L"sessionchange"), 0u);
    }
    uint32_t Subscribe(ISessionChangeEvents* observer) {
        return RawSlot<SubscribeFunction>(m_object.Get(), 5)(m_object.Get(), observer);
    }
    uint32_t Unsubscribe(ISessionChangeEvents* observer) {
        return RawSlot<SubscribeFunction>(m_object.Get(), 6)(m_object.Get(), observer);
    }
    void Notify(uint32_t time, uint32_t event, const tagWTSSESSION_NOTIFICATION* notification) {
        RawSlot<NotifyFunction>(m_object.Get(), 7)(m_object.Get(), time, event, notification);
    }

    optimizer::ExportedObject<ISessionChange> m_object;
};

TEST_F(SessionChange, PassesEverythingOnInTheOrderOfSubscription) {
    std::vector<Heard> heard;
    Observer first(1, heard);
    Observer second(2, heard);
    EXPECT_EQ(Subscribe(&first), 0u);
    EXPECT_EQ(Subscribe(&second), 0u);
    EXPECT_EQ(Subscribe(&first), 183u);
    EXPECT_EQ(Subscribe(nullptr), 87u);
    const WTSSESSION_NOTIFICATION notification = {sizeof(notification), 3};
    Notify(77, WTS_SESSION_LOGON, &notification);
    EXPECT_EQ(heard, (std::vector<Heard>{{1, 77, WTS_SESSION_LOGON, &notification},
                                         {2, 77, WTS_SESSION_LOGON, &notification}}));

    heard.clear();
    EXPECT_EQ(Unsubscribe(&first), 0u);
    EXPECT_EQ(Unsubscribe(&first), 1168u);
    Notify(78, WTS_SESSION_LOCK, nullptr);
    EXPECT_EQ(heard, (std::vector<Heard>{{2, 78, WTS_SESSION_LOCK, nullptr}}));
}

TEST_F(SessionChange, UnsubscribeWaitsForTheCallInFlight) {
    SlowObserver observer;
    ASSERT_EQ(Subscribe(&observer), 0u);
    std::thread notifier([&] { Notify(1, WTS_SESSION_LOGOFF, nullptr); });
    EXPECT_EQ(WaitForSingleObject(observer.inside.Get(), kPatienceMs), WAIT_OBJECT_0);

    std::atomic<bool> leftFirst = false;
    const optimizer::KernelHandle done(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    std::thread unsubscriber([&] {
        Unsubscribe(&observer);
        leftFirst = observer.left.load();
        SetEvent(done.Get());
    });
    EXPECT_EQ(WaitForSingleObject(done.Get(), 50), DWORD{WAIT_TIMEOUT});
    SetEvent(observer.letGo.Get());
    notifier.join();
    unsubscriber.join();
    EXPECT_TRUE(leftFirst);
}

}  // namespace
