// The event queue: what runs, what is dropped, who waits, and that every item is disposed of exactly once.
#include "framework/event_queue.h"

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>

namespace host {
namespace {

using optimizer::KernelHandle;
using testing::ElementsAre;

constexpr DWORD kPatienceMs = 10000;

struct Event {
    void Set() const { SetEvent(handle.Get()); }
    bool Comes() const { return WaitForSingleObject(handle.Get(), kPatienceMs) == WAIT_OBJECT_0; }
    KernelHandle handle{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
};

/// Counts what becomes of the items.
struct Tally {
    std::atomic<int> runs = 0;
    std::atomic<int> disposals = 0;
};

class Item final : public EqWorkItem {
public:
    explicit Item(Tally& tally, std::function<void()> work = [] {}) : m_tally(tally), m_work(work) {}
    void* DeletingDestructor(uint32_t) override { return nullptr; }
    void Dispose() override {
        ++m_tally.disposals;
        delete this;
    }
    void Execute() override {
        ++m_tally.runs;
        m_work();
    }

private:
    Tally& m_tally;
    std::function<void()> m_work;
};

class EventQueue : public testing::Test {
protected:
    ~EventQueue() override { release.Set(); }

    QueueHandle Post(std::function<void()> work) {
        QueueHandle handle = nullptr;
        EXPECT_EQ(queue.Post(L"item", &handle, new Item(tally, work), 0, 0, 0), 0u);
        return handle;
    }
    void PostSerial(ISerialExecution* serial, std::function<void()> work, QueueHandle* out = nullptr) {
        EXPECT_EQ(serial->Post(L"serial item", out, new Item(tally, work), 0, 0, 0), 0u);
    }
    ISerialExecution* CreateSerial() {
        ISerialExecution* serial = nullptr;
        EXPECT_EQ(queue.CreateSerialExecution(&serial), 0u);
        return serial;
    }
    /// Keeps one queue thread busy until `release`.
    QueueHandle Block() {
        const QueueHandle handle = Post([this] {
            entered.Set();
            release.Comes();
        });
        EXPECT_TRUE(entered.Comes());
        return handle;
    }
    uint32_t Finish(QueueHandle handle) {
        const uint32_t result = queue.Wait(handle, kPatienceMs);
        EXPECT_EQ(queue.CloseItem(handle), 0u);
        return result;
    }

    Tally tally;
    Event entered;
    Event release;
    CEventQueue queue;
};

TEST(NextDue, KeepsInStepAndLeavesOutWhatWasMissed) {
    const Clock::time_point start{};
    const auto at = [&](int ms) { return start + std::chrono::milliseconds(ms); };
    EXPECT_EQ(NextDue(at(100), 100, at(100)), at(200));
    EXPECT_EQ(NextDue(at(100), 100, at(199)), at(200));
    EXPECT_EQ(NextDue(at(100), 100, at(200)), at(300));
    EXPECT_EQ(NextDue(at(100), 100, at(455)), at(500));
    EXPECT_EQ(MsUntil(at(100), at(100)), 0u);
    EXPECT_EQ(MsUntil(at(100), at(100) - std::chrono::nanoseconds(1)), 1u) << "never early";
    EXPECT_EQ(MsUntil(start + std::chrono::hours(24 * 365), start), INFINITE - 1);
}

TEST_F(EventQueue, WaitTellsPendingRunningFinishedAndDroppedApart) {
    QueueHandle pending = Post([] {});
    EXPECT_EQ(queue.Wait(pending, 0), static_cast<uint32_t>(WAIT_TIMEOUT)) << "before Start";
    ASSERT_EQ(queue.Start(1), 0u);
    EXPECT_EQ(Finish(pending), 0u);
    EXPECT_EQ(queue.Start(1), static_cast<uint32_t>(ERROR_ALREADY_EXISTS));

    const QueueHandle running = Block();
    EXPECT_EQ(queue.Wait(running, 1), static_cast<uint32_t>(WAIT_TIMEOUT));
    pending = Post([] {});
    std::atomic<int> released = 0;
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] { released += queue.Wait(pending, kPatienceMs) == 0 ? 1 : 0; });
    }
    EXPECT_EQ(queue.Cancel(pending), 0u);
    for (std::thread& waiter : waiters) waiter.join();
    EXPECT_EQ(released, 3);
    EXPECT_EQ(tally.disposals, 2) << "dropped before the running one has ended";
    EXPECT_EQ(queue.Cancel(running), 0u) << "doesn't wait for it";
    release.Set();
    EXPECT_EQ(Finish(running), 0u);
    EXPECT_EQ(Finish(pending), 0u);
    EXPECT_EQ(tally.runs, 2);
}

TEST_F(EventQueue, RefusesBadArgumentsAndStaleHandles) {
    constexpr uint32_t kBadHandle = ERROR_INVALID_HANDLE;
    constexpr uint32_t kBadArgument = ERROR_INVALID_PARAMETER;
    ASSERT_EQ(queue.Start(1), 0u);
    const QueueHandle stale = Post([] {});
    EXPECT_EQ(Finish(stale), 0u);
    const QueueHandle other = Post([] {});
    EXPECT_NE(other, stale);
    for (const QueueHandle bad : {stale, QueueHandle(nullptr), QueueHandle(&queue), QueueHandle(-1)}) {
        EXPECT_EQ(queue.Wait(bad, 0), kBadHandle);
        EXPECT_EQ(queue.Cancel(bad), kBadHandle);
        EXPECT_EQ(queue.CloseItem(bad), kBadHandle);
    }
    EXPECT_EQ(Finish(other), 0u);

    Item item(tally);
    QueueHandle handle = &item;
    EXPECT_EQ(queue.Post(nullptr, &handle, nullptr, 0, 0, 0), kBadArgument);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(queue.PostTimer(nullptr, nullptr, 0, 1, &item, 0, 0, 0), kBadArgument);
    EXPECT_EQ(queue.PostTimer(nullptr, nullptr, 1, 0, &item, 0, 0, 0), kBadArgument);
    EXPECT_EQ(CEventQueue().Start(0), kBadArgument);
    EXPECT_EQ(queue.CreateSerialExecution(nullptr), kBadArgument);
    CSerialExecution notOurs(queue);
    queue.DestroySerialExecution(&notOurs);
    queue.DestroySerialExecution(nullptr);
    EXPECT_EQ(tally.disposals, 2) << "a refused item stays the caller's";
}

TEST_F(EventQueue, StopFinishesWhatRunsDropsTheRestAndCanBeFollowedByStart) {
    EXPECT_EQ(queue.Stop(), 0u) << "before Start";
    Item refused(tally);
    EXPECT_EQ(queue.Post(nullptr, nullptr, &refused, 0, 0, 0), static_cast<uint32_t>(ERROR_INVALID_STATE));
    ASSERT_EQ(queue.Start(1), 0u);
    ISerialExecution* const serial = CreateSerial();
    const QueueHandle running = Block();
    QueueHandle dropped[3] = {Post([] {})};
    PostSerial(serial, [] {});
    PostSerial(serial, [] {}, &dropped[1]);
    ASSERT_EQ(queue.PostTimer(L"timer", &dropped[2], 3600000, 1, new Item(tally), 0, 0, 0), 0u);

    std::thread stopper([&] { EXPECT_EQ(queue.Stop(), 0u); });
    for (const QueueHandle handle : dropped) EXPECT_EQ(Finish(handle), 0u);
    EXPECT_EQ(queue.Wait(running, 0), static_cast<uint32_t>(WAIT_TIMEOUT));
    release.Set();
    stopper.join();
    EXPECT_EQ(Finish(running), 0u);
    EXPECT_EQ(queue.Stop(), 0u) << "twice";
    EXPECT_EQ(tally.runs, 1);
    EXPECT_EQ(tally.disposals, 5);

    ASSERT_EQ(queue.Start(2), 0u);
    QueueHandle again = nullptr;
    PostSerial(serial, [] {}, &again);
    EXPECT_EQ(Finish(again), 0u) << "the serial execution has outlived the stop";
    queue.DestroySerialExecution(serial);
}

TEST_F(EventQueue, AQueueThreadIsNeverMadeToWaitForItself) {
    ASSERT_EQ(queue.Start(1), 0u);
    QueueHandle own = nullptr;
    uint32_t waited = 0;
    uint32_t started = 0;
    own = Post([&] {
        entered.Comes();  // until `own` is stored
        waited = queue.Wait(own, kWaitForever);
    });
    entered.Set();
    EXPECT_EQ(Finish(own), 0u);
    EXPECT_EQ(waited, static_cast<uint32_t>(ERROR_POSSIBLE_DEADLOCK));

    ISerialExecution* const serial = CreateSerial();
    QueueHandle next = nullptr;
    QueueHandle first = nullptr;
    PostSerial(
        serial,
        [&] {
            PostSerial(serial, [] {}, &next);
            waited = queue.Wait(next, kWaitForever);
            queue.DestroySerialExecution(serial);
            queue.DestroySerialExecution(serial);
            queue.Stop();
            started = queue.Start(1);
        },
        &first);
    EXPECT_EQ(Finish(first), 0u);
    EXPECT_EQ(waited, static_cast<uint32_t>(ERROR_POSSIBLE_DEADLOCK));
    EXPECT_EQ(started, static_cast<uint32_t>(ERROR_INVALID_STATE));
    EXPECT_EQ(Finish(next), 0u) << "dropped";
    EXPECT_EQ(tally.runs, 2);
    EXPECT_EQ(tally.disposals, 3);
    EXPECT_EQ(queue.Start(1), 0u) << "from elsewhere it waits for the old thread";
}

TEST_F(EventQueue, TimersFireAfterEachPeriodUntilTheirCountOrCancel) {
    ASSERT_EQ(queue.Start(2), 0u);
    const auto start = Clock::now();
    QueueHandle counted = nullptr;
    Tally countedTally;
    ASSERT_EQ(queue.PostTimer(L"counted", &counted, 10, 3, new Item(countedTally), 0, 0, 0), 0u);
    QueueHandle unbounded = nullptr;
    ASSERT_EQ(queue.PostTimer(L"unbounded", &unbounded, 1, kRepeatForever,
                              new Item(tally, [this] { if (tally.runs == 5) entered.Set(); }), 0, 0, 0),
              0u);
    EXPECT_EQ(Finish(counted), 0u);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_EQ(countedTally.runs, 3);
    EXPECT_EQ(countedTally.disposals, 1);

    EXPECT_TRUE(entered.Comes());
    EXPECT_EQ(queue.Wait(unbounded, 0), static_cast<uint32_t>(WAIT_TIMEOUT));
    EXPECT_EQ(queue.Cancel(unbounded), 0u);
    EXPECT_EQ(Finish(unbounded), 0u);
    EXPECT_EQ(tally.disposals, 1);

    QueueHandle running = nullptr;
    Event inside;
    ASSERT_EQ(queue.PostTimer(L"running", &running, 1, kRepeatForever, new Item(countedTally, [&] {
                                  inside.Set();
                                  release.Comes();
                              }), 0, 0, 0),
              0u);
    EXPECT_TRUE(inside.Comes());
    EXPECT_EQ(queue.Cancel(running), 0u) << "while it runs";
    release.Set();
    EXPECT_EQ(Finish(running), 0u);
    EXPECT_EQ(countedTally.runs, 4);
    EXPECT_EQ(countedTally.disposals, 2);
}

TEST_F(EventQueue, ASerialExecutionKeepsOrderPassesItsTurnAndEndsCleanly) {
    ASSERT_EQ(queue.Start(3), 0u);
    ISerialExecution* const serial = CreateSerial();
    std::vector<int> order;
    QueueHandle cancelled = nullptr;
    QueueHandle last = nullptr;
    PostSerial(serial, [&] {
        entered.Set();
        release.Comes();
        order.push_back(1);
        throw std::runtime_error("on purpose");
    });
    PostSerial(serial, [&] { order.push_back(2); }, &cancelled);
    PostSerial(serial, [&] { order.push_back(3); throw 3; });
    PostSerial(serial, [&] { order.push_back(4); }, &last);
    EXPECT_TRUE(entered.Comes());
    EXPECT_EQ(Finish(Post([] {})), 0u) << "the others have threads left";
    EXPECT_EQ(queue.Cancel(cancelled), 0u);
    release.Set();
    EXPECT_EQ(Finish(last), 0u);
    EXPECT_THAT(order, ElementsAre(1, 3, 4));

    ResetEvent(entered.handle.Get());
    ResetEvent(release.handle.Get());
    std::atomic<bool> hasEnded = false;
    PostSerial(serial, [&] {
        entered.Set();
        release.Comes();
        hasEnded = true;
    });
    PostSerial(serial, [] {}, &last);
    EXPECT_TRUE(entered.Comes());
    std::thread destroyer([&] {
        queue.DestroySerialExecution(serial);
        EXPECT_TRUE(hasEnded);
    });
    EXPECT_EQ(Finish(last), 0u) << "dropped while the item before it still runs";
    release.Set();
    destroyer.join();
    EXPECT_EQ(tally.runs, 5);
    EXPECT_EQ(tally.disposals, 7);
}

/// Everything at once, with the queue stopped and started in between; the counts must come out even.
TEST_F(EventQueue, DisposesOfEveryAcceptedItemExactlyOnceUnderLoad) {
    constexpr int kPosters = 4;
    constexpr int kRounds = 1500;
    ASSERT_EQ(queue.Start(4), 0u);
    std::atomic<int> accepted = 0;
    std::atomic<int> broken = 0;
    std::vector<std::thread> posters;
    for (int p = 0; p < kPosters; ++p) {
        posters.emplace_back([&, p] {
            ISerialExecution* serial = CreateSerial();
            std::atomic<int> inside = 0;
            const auto exclusive = [&] {
                if (++inside != 1) ++broken;
                --inside;
            };
            for (int i = 0; i < kRounds; ++i) {
                const bool isSerial = i % 3 == 0;
                QueueHandle handle = nullptr;
                QueueHandle* const out = i % 2 == 0 ? &handle : nullptr;
                const auto item = isSerial ? new Item(tally, exclusive) : new Item(tally);
                uint32_t error = 0;
                if (isSerial) {
                    error = serial->Post(L"", out, item, 0, 0, 0);
                } else if (i % 7 == 0) {
                    error = queue.PostTimer(L"", out, 1, 2, item, 0, 0, 0);
                } else {
                    error = queue.Post(L"", out, item, 0, 0, 0);
                }
                if (error == 0) {
                    ++accepted;
                } else {
                    delete item;
                }
                if (handle != nullptr && i % 5 == 0) queue.Cancel(handle);
                if (handle != nullptr && i % 4 == 0 && queue.Wait(handle, kPatienceMs) != 0) ++broken;
                if (handle != nullptr && queue.CloseItem(handle) != 0) ++broken;
                if (i % 500 == 499) {
                    queue.DestroySerialExecution(serial);
                    if (inside != 0) ++broken;
                    serial = CreateSerial();
                }
                if (p == 0 && i % 300 == 299) {
                    queue.Stop();
                    if (queue.Start(4) != 0) ++broken;
                }
            }
            queue.DestroySerialExecution(serial);
        });
    }
    for (std::thread& poster : posters) poster.join();
    queue.Stop();
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(tally.disposals, accepted);
    EXPECT_GT(tally.runs, kPosters * kRounds / 4);
}

}  // namespace
}  // namespace host
