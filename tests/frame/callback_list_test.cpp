// Observer lists: their order, their codes, and that nobody is let go in the middle of a call to it.
#include "frame/callback_list.h"

#include "tests/frame/caller.h"
#include "tests/frame/death.h"

namespace optimizer {
namespace {

using frame_test::Caller;

std::vector<int*> Walk(CallbackList<int*>& list) {
    std::vector<int*> seen;
    list.ForEach([&](int* observer) { seen.push_back(observer); });
    return seen;
}

TEST(CallbackList, KeepsTheOrderOfRegistrationAndTellsDoublesAndStrangers) {
    CallbackList<int*> list;
    int a = 0, b = 0, c = 0;
    EXPECT_EQ(list.Remove(&a, 0), ERROR_NOT_FOUND);
    for (int* observer : {&a, &b, &c})
        EXPECT_EQ(list.Add(observer), ERROR_SUCCESS);
    EXPECT_EQ(list.Add(&b), ERROR_ALREADY_EXISTS);
    EXPECT_EQ(Walk(list), (std::vector<int*>{&a, &b, &c}));
    EXPECT_EQ(list.Remove(&b, 1), ERROR_NOT_FOUND) << "another context is another entry";
    EXPECT_EQ(list.Remove(&b, 0), ERROR_SUCCESS);
    EXPECT_EQ(list.Add(&b), ERROR_SUCCESS);
    EXPECT_EQ(Walk(list), (std::vector<int*>{&a, &c, &b}));
}

TEST(CallbackList, RemoveWaitsForTheNotificationInFlight) {
    CallbackList<int*> list;
    int observer = 0;
    ASSERT_EQ(list.Add(&observer), ERROR_SUCCESS);
    const KernelHandle inside(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle goOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Caller notification(
        [&] { list.ForEach([&](int*) { SignalObjectAndWait(inside.Get(), goOn.Get(), 10000, FALSE); }); });
    EXPECT_EQ(WaitForSingleObject(inside.Get(), 10000), WAIT_OBJECT_0);
    EXPECT_EQ(Walk(list).size(), 1U) << "another notification runs beside it";
    uint32_t result = ~0U;
    Caller removal([&] { result = list.Remove(&observer, 0); });
    EXPECT_TRUE(removal.IsBlocked());
    SetEvent(goOn.Get());
    EXPECT_TRUE(notification.Finishes());
    EXPECT_TRUE(removal.Finishes());
    EXPECT_EQ(result, ERROR_SUCCESS);
}

TEST(CallbackListDeathTest, AnObserverThatRegistersInsideItsNotificationEndsTheProcess) {
    CallbackList<int*> list;
    int observer = 0;
    ASSERT_EQ(list.Add(&observer), ERROR_SUCCESS);
    EXPECT_ENDS_PROCESS(list.ForEach([&](int*) { list.Add(nullptr); }));
    EXPECT_ENDS_PROCESS(list.ForEach([&](int*) { list.Remove(&observer, 0); }));
}

TEST(SyncRWLockDeathTest, ABrokenLockRuleEndsTheProcess) {
    CSyncRWLock lock;
    EXPECT_ENDS_PROCESS(lock.UnlockRead(1));
    EXPECT_ENDS_PROCESS(lock.UnlockWrite(1));
    lock.LockRead(1);
    EXPECT_ENDS_PROCESS(lock.LockWrite(1));
    EXPECT_ENDS_PROCESS(lock.UnlockRead(2));
    lock.UnlockRead(1);
    lock.LockWrite(1);
    EXPECT_ENDS_PROCESS(lock.UnlockWrite(2));
    EXPECT_ENDS_PROCESS(lock.UnlockRead(1));
    lock.UnlockWrite(1);
}

}  // namespace
}  // namespace optimizer
