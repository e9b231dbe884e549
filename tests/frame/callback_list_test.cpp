// Observer lists: nobody is let go in the middle of a call to it.
#include "frame/callback_list.h"

#include <gtest/gtest.h>

#include "tests/frame/caller.h"

namespace optimizer {
namespace {

using frame_test::Caller;

TEST(CallbackList, RemoveWaitsForTheNotificationInFlight) {
    CallbackList<int*> list;
    int observer = 0;
    ASSERT_EQ(list.Add(&observer), ERROR_SUCCESS);
    const KernelHandle inside(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    const KernelHandle goOn(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    Caller notification(
        [&] { list.ForEach([&](int*) { SignalObjectAndWait(inside.Get(), goOn.Get(), 10000, FALSE); }); });
    EXPECT_EQ(WaitForSingleObject(inside.Get(), 10000), WAIT_OBJECT_0);
    uint32_t result = ~0U;
    Caller removal([&] { result = list.Remove(&observer, 0); });
    EXPECT_TRUE(removal.IsBlocked());
    SetEvent(goOn.Get());
    EXPECT_TRUE(notification.Finishes());
    EXPECT_TRUE(removal.Finishes());
    EXPECT_EQ(result, ERROR_SUCCESS);
}

}  // namespace
}  // namespace optimizer
