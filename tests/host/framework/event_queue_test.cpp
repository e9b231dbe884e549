// The event queue: what runs, what is dropped, who waits, and that every item is disposed of exactly once.
#include "framework/event_queue.h"

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

namespace host {
namespace {

constexpr uint32_t kPatienceMs = 10000;
constexpr uint32_t kOneHourMs = 3600000;

class Item final : public EqWorkItem {
public:
    Item(std::atomic<int>& disposals, std::function<void()> work) : m_disposals(disposals), m_work(work) {}
    void* DeletingDestructor(uint32_t) override { return nullptr; }
    void Dispose() override {
        ++m_disposals;
        delete this;
    }
    void Execute() override { m_work(); }

private:
    std::atomic<int>& m_disposals;
    std::function<void()> m_work;
};

void Nothing() {}

void Never() {
    ADD_FAILURE() << "an item ran that was to be dropped";
}

class EventQueue : public testing::Test {
protected:
    QueueHandle Post(std::function<void()> work, ISerialExecution* on = nullptr) {
        QueueHandle handle = nullptr;
        auto* const item = new Item(disposals, work);
        EXPECT_EQ(
            on != nullptr ? on->Post(L"", &handle, item, 0, 0, 0) : queue.Post(L"", &handle, item, 0, 0, 0),
            0U);
        return handle;
    }
    QueueHandle PostTimer(uint32_t periodMs, uint32_t count, std::function<void()> work) {
        QueueHandle handle = nullptr;
        EXPECT_EQ(queue.PostTimer(L"", &handle, periodMs, count, new Item(disposals, work), 0, 0, 0), 0U);
        return handle;
    }
    ISerialExecution* CreateSerial() {
        ISerialExecution* created = nullptr;
        EXPECT_EQ(queue.CreateSerialExecution(&created), 0U);
        return created;
    }
    int Wait(QueueHandle handle, uint32_t timeoutMs = kPatienceMs) {
        return static_cast<int>(queue.Wait(handle, timeoutMs));
    }
    bool HasEntered() { return WaitForSingleObject(entered.Get(), kPatienceMs) == WAIT_OBJECT_0; }

    std::atomic<int> disposals = 0;
    optimizer::KernelHandle entered{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    optimizer::KernelHandle release{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
    /// The work of an item that keeps its thread busy until `release`.
    const std::function<void()> blocking = [this] {
        EXPECT_EQ(SignalObjectAndWait(entered.Get(), release.Get(), kPatienceMs, FALSE), WAIT_OBJECT_0);
    };
    CEventQueue queue;
    ISerialExecution* const serial = CreateSerial();
};

TEST_F(EventQueue, StopFinishesWhatRunsDropsTheRestAndLetsGoOfWhoWaits) {
    const QueueHandle early = Post(Nothing);
    EXPECT_EQ(Wait(early, 0), WAIT_TIMEOUT) << "before Start";
    ASSERT_EQ(queue.Start(1), 0U);
    EXPECT_EQ(Wait(early), 0);
    EXPECT_EQ(queue.CloseItem(early), 0U);
    const QueueHandle running = Post(blocking);
    ASSERT_TRUE(HasEntered());
    EXPECT_EQ(Wait(early), ERROR_INVALID_HANDLE) << "closed, though its place is taken again";

    const QueueHandle cancelled = Post(Never);
    std::thread waiter([&] { EXPECT_EQ(Wait(cancelled), 0); });
    EXPECT_EQ(queue.Cancel(cancelled), 0U);
    waiter.join();
    const QueueHandle dropped[] = {Post(Never), Post(Never, serial), Post(Never, serial),
                                   PostTimer(kOneHourMs, 1, Never)};
    std::thread stopper([&] { queue.Stop(); });
    for (const QueueHandle handle : dropped)
        EXPECT_EQ(Wait(handle), 0);
    EXPECT_EQ(Wait(running, 0), WAIT_TIMEOUT);
    SetEvent(release.Get());
    stopper.join();
    EXPECT_EQ(queue.Stop(), 0U) << "twice";
    Item refused(disposals, Never);
    EXPECT_EQ(queue.Post(L"", nullptr, &refused, 0, 0, 0), uint32_t{ERROR_INVALID_STATE});
    EXPECT_EQ(disposals, 7) << "a refused item stays the caller's";
    ASSERT_EQ(queue.Start(2), 0U);
    EXPECT_EQ(Wait(Post(Nothing, serial)), 0) << "the serial execution has outlived the stop";
}

TEST_F(EventQueue, StopLeavesAnItemThatOnlyItsOwnerEndsToTheOwner) {
    EXPECT_EQ(queue.Start(1), 0U);
    const QueueHandle item = Post(blocking, serial);
    ASSERT_TRUE(HasEntered());
    EXPECT_EQ(queue.Stop(), uint32_t{WAIT_TIMEOUT});
    EXPECT_EQ(Wait(item, 0), WAIT_TIMEOUT);
    SetEvent(release.Get());
    queue.DestroySerialExecution(serial);
    EXPECT_EQ(disposals, 1) << "whoever destroys the serial execution still waits for its item";
}

TEST_F(EventQueue, TimersFireAfterEachPeriodUntilTheirCountOrCancel) {
    ASSERT_EQ(queue.Start(2), 0U);
    std::atomic<int> firings = 0;
    const auto start = Clock::now();
    EXPECT_EQ(Wait(PostTimer(10, 3, [&] { ++firings; })), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_EQ(firings, 3);
    const QueueHandle unbounded = PostTimer(1, kRepeatForever, [&] {
        if (++firings == 8) blocking();
    });
    ASSERT_TRUE(HasEntered());
    EXPECT_EQ(queue.Cancel(unbounded), 0U) << "while it runs";
    EXPECT_EQ(Wait(unbounded, 0), WAIT_TIMEOUT);
    SetEvent(release.Get());
    EXPECT_EQ(Wait(unbounded), 0);
    EXPECT_EQ(firings, 8);
    EXPECT_EQ(disposals, 2);
}

TEST_F(EventQueue, ASerialExecutionKeepsOrderPassesItsTurnAndEndsCleanly) {
    ASSERT_EQ(queue.Start(3), 0U);
    std::vector<int> order;
    Post([&] { order.push_back(1); }, serial);
    Post([&] { blocking(), throw std::runtime_error("on purpose"); }, serial);
    const QueueHandle dropped = Post(Never, serial);
    Post([&] { order.push_back(2), throw 2; }, serial);
    const QueueHandle last = Post([&] { order.push_back(3); }, serial);
    ASSERT_TRUE(HasEntered());
    EXPECT_EQ(Wait(Post(Nothing)), 0) << "the others have threads left";
    EXPECT_EQ(queue.Cancel(dropped), 0U);
    SetEvent(release.Get());
    EXPECT_EQ(Wait(last), 0);
    EXPECT_THAT(order, testing::ElementsAre(1, 2, 3));

    Post(blocking, serial);
    const QueueHandle behind = Post(Never, serial);
    ASSERT_TRUE(HasEntered());
    std::atomic<bool> destroyed = false;
    std::thread destroyer([&] {
        queue.DestroySerialExecution(serial);
        destroyed = true;
    });
    EXPECT_EQ(Wait(behind), 0) << "dropped while the item before it still runs";
    EXPECT_EQ(Wait(PostTimer(20, 1, Nothing)), 0);
    EXPECT_FALSE(destroyed) << "waits for that one";
    SetEvent(release.Get());
    destroyer.join();
    EXPECT_EQ(disposals, 9);
}

/// Everything at once, with the queue stopped and started in between; the counts must come out even.
TEST_F(EventQueue, DisposesOfEveryAcceptedItemExactlyOnceUnderLoad) {
    ASSERT_EQ(queue.Start(4), 0U);
    std::atomic<int> accepted = 0;
    std::atomic<int> broken = 0;
    const auto expect = [&](bool holds) { broken += holds ? 0 : 1; };
    const auto post = [&](bool stops) {
        ISerialExecution* own = CreateSerial();
        std::atomic<int> inside = 0;
        const auto exclusive = [&] { expect(++inside == 1), --inside; };
        for (int i = 0; i < 1500; ++i) {
            QueueHandle handle = nullptr;
            auto* const item = i % 3 == 0 ? new Item(disposals, exclusive) : new Item(disposals, Nothing);
            const uint32_t error = i % 3 == 0   ? own->Post(L"", &handle, item, 0, 0, 0)
                                   : i % 7 == 0 ? queue.PostTimer(L"", &handle, 1, 2, item, 0, 0, 0)
                                                : queue.Post(L"", &handle, item, 0, 0, 0);
            error == 0 ? static_cast<void>(++accepted) : delete item;
            if (error == 0 && i % 5 == 0) queue.Cancel(handle);
            if (error == 0 && i % 4 == 0) expect(Wait(handle) == 0);
            if (error == 0) expect(queue.CloseItem(handle) == 0);
            if (i % 500 == 499) queue.DestroySerialExecution(std::exchange(own, CreateSerial()));
            if (stops && i % 300 == 299) expect(queue.Stop() == 0 && queue.Start(4) == 0);
        }
        queue.DestroySerialExecution(own);
    };
    std::vector<std::thread> posters;
    for (const bool stops : {true, false, false, false})
        posters.emplace_back(post, stops);
    for (std::thread& poster : posters)
        poster.join();
    queue.Stop();
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(disposals, accepted);
}

}  // namespace
}  // namespace host
