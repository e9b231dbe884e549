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
    explicit Item(
        Tally& tally, std::function<void()> work = [] {})
        : m_tally(tally), m_work(work) {}
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

    QueueHandle Post(std::function<void()> work, ISerialExecution* serial = nullptr) {
        QueueHandle handle = nullptr;
        EqWorkItem* const item = new Item(tally, work);
        const uint32_t error = serial != nullptr ? serial->Post(L"serial item", &handle, item, 0, 0, 0)
                                                 : queue.Post(L"item", &handle, item, 0, 0, 0);
        EXPECT_EQ(error, 0u);
        return handle;
    }
    QueueHandle PostTimer(
        uint32_t periodMs, uint32_t count, std::function<void()> work = [] {}) {
        QueueHandle handle = nullptr;
        EqWorkItem* const item = new Item(tally, work);
        EXPECT_EQ(queue.PostTimer(L"timer", &handle, periodMs, count, item, 0, 0, 0), 0u);
        return handle;
    }
    ISerialExecution* CreateSerial() {
        ISerialExecution* serial = nullptr;
        EXPECT_EQ(queue.CreateSerialExecution(&serial), 0u);
        return serial;
    }
    /// The work of an item that keeps its thread busy until `release`.
    std::function<void()> Blocking() {
        return [this] {
            entered.Set();
            EXPECT_TRUE(release.Comes());
        };
    }
    int Wait(QueueHandle handle, uint32_t timeoutMs = kPatienceMs) {
        return static_cast<int>(queue.Wait(handle, timeoutMs));
    }

    Tally tally;
    Event entered;
    Event release;
    CEventQueue queue;
};

TEST(NextDue, KeepsInStepAndLeavesOutWhatWasMissed) {
    const auto at = [](int ms) { return Clock::time_point{} + std::chrono::milliseconds(ms); };
    EXPECT_EQ(NextDue(at(100), 100, at(100)), at(200));
    EXPECT_EQ(NextDue(at(100), 100, at(199)), at(200));
    EXPECT_EQ(NextDue(at(100), 100, at(200)), at(300));
    EXPECT_EQ(NextDue(at(100), 100, at(455)), at(500));
    EXPECT_EQ(MsUntil(at(100), at(100)), 0u);
    EXPECT_EQ(MsUntil(at(100), at(100) - std::chrono::nanoseconds(1)), 1u) << "never early";
    EXPECT_EQ(MsUntil(at(0) + std::chrono::hours(24 * 365), at(0)), INFINITE - 1);
}

TEST_F(EventQueue, WaitTellsPendingRunningFinishedAndDroppedApart) {
    const QueueHandle early = Post([] {});
    EXPECT_EQ(Wait(early, 0), WAIT_TIMEOUT) << "before Start";
    ASSERT_EQ(queue.Start(1), 0u);
    EXPECT_EQ(Wait(early), 0);

    const QueueHandle running = Post(Blocking());
    ASSERT_TRUE(entered.Comes());
    EXPECT_EQ(Wait(running, 1), WAIT_TIMEOUT);
    const QueueHandle pending = Post([] {});
    std::vector<std::thread> waiters;
    for (int i = 0; i < 3; ++i) {
        waiters.emplace_back([&] { EXPECT_EQ(Wait(pending), 0); });
    }
    EXPECT_EQ(queue.Cancel(pending), 0u);
    for (std::thread& waiter : waiters)
        waiter.join();
    EXPECT_EQ(tally.disposals, 2) << "dropped before the running one has ended";
    EXPECT_EQ(queue.Cancel(running), 0u) << "doesn't wait for it";
    release.Set();
    EXPECT_EQ(Wait(running), 0);
    EXPECT_EQ(tally.runs, 2);
}

TEST_F(EventQueue, RefusesBadArgumentsAndStaleHandles) {
    ASSERT_EQ(queue.Start(1), 0u);
    const QueueHandle stale = Post([] {});
    EXPECT_EQ(queue.CloseItem(stale), 0u);
    EXPECT_EQ(Wait(Post([] {})), 0);
    for (const QueueHandle bad :
         {stale, QueueHandle{}, static_cast<QueueHandle>(&queue), INVALID_HANDLE_VALUE}) {
        EXPECT_EQ(Wait(bad), ERROR_INVALID_HANDLE);
        EXPECT_EQ(queue.Cancel(bad), static_cast<uint32_t>(ERROR_INVALID_HANDLE));
        EXPECT_EQ(queue.CloseItem(bad), static_cast<uint32_t>(ERROR_INVALID_HANDLE));
    }
    constexpr uint32_t kBadArgument = ERROR_INVALID_PARAMETER;
    Item item(tally);
    QueueHandle handle = &item;
    EXPECT_EQ(queue.Post(nullptr, &handle, nullptr, 0, 0, 0), kBadArgument);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(queue.PostTimer(nullptr, nullptr, 0, 1, &item, 0, 0, 0), kBadArgument);
    EXPECT_EQ(queue.PostTimer(nullptr, nullptr, 1, 0, &item, 0, 0, 0), kBadArgument);
    EXPECT_EQ(queue.Start(0), kBadArgument);
    EXPECT_EQ(queue.Start(1), static_cast<uint32_t>(ERROR_ALREADY_EXISTS));
    CSerialExecution notOurs(queue);
    queue.DestroySerialExecution(&notOurs);
    queue.DestroySerialExecution(nullptr);
    queue.Stop();
    EXPECT_EQ(queue.Post(nullptr, nullptr, &item, 0, 0, 0), static_cast<uint32_t>(ERROR_INVALID_STATE));
    EXPECT_EQ(tally.disposals, 2) << "a refused item stays the caller's";
}

TEST_F(EventQueue, StopFinishesWhatRunsDropsTheRestAndCanBeFollowedByStart) {
    EXPECT_EQ(queue.Stop(), 0u) << "before Start";
    ASSERT_EQ(queue.Start(1), 0u);
    ISerialExecution* const serial = CreateSerial();
    const QueueHandle running = Post(Blocking());
    ASSERT_TRUE(entered.Comes());
    const QueueHandle dropped[] = {Post([] {}), Post([] {}, serial), Post([] {}, serial),
                                   PostTimer(3600000, 1)};

    std::thread stopper([&] { queue.Stop(); });
    for (const QueueHandle handle : dropped)
        EXPECT_EQ(Wait(handle), 0);
    EXPECT_EQ(Wait(running, 0), WAIT_TIMEOUT);
    release.Set();
    stopper.join();
    EXPECT_EQ(queue.Stop(), 0u) << "twice";
    EXPECT_EQ(tally.runs, 1);
    EXPECT_EQ(tally.disposals, 5);

    ASSERT_EQ(queue.Start(2), 0u);
    EXPECT_EQ(Wait(Post([] {}, serial)), 0) << "the serial execution has outlived the stop";
}

TEST_F(EventQueue, AQueueThreadIsNeverMadeToWaitForItself) {
    ASSERT_EQ(queue.Start(1), 0u);
    QueueHandle own = nullptr;
    own = Post([&] {
        EXPECT_TRUE(entered.Comes());  // `own` is stored
        EXPECT_EQ(Wait(own, kWaitForever), ERROR_POSSIBLE_DEADLOCK);
    });
    entered.Set();
    EXPECT_EQ(Wait(own), 0);

    ISerialExecution* const serial = CreateSerial();
    QueueHandle next = nullptr;
    const QueueHandle first = Post(
        [&] {
            next = Post([] {}, serial);
            EXPECT_EQ(Wait(next, kWaitForever), ERROR_POSSIBLE_DEADLOCK);
            queue.DestroySerialExecution(serial);
            queue.DestroySerialExecution(serial);
            queue.Stop();
            EXPECT_EQ(queue.Start(1), static_cast<uint32_t>(ERROR_INVALID_STATE));
        },
        serial);
    EXPECT_EQ(Wait(first), 0);
    EXPECT_EQ(Wait(next), 0) << "dropped";
    EXPECT_EQ(tally.runs, 2);
    EXPECT_EQ(tally.disposals, 3);
    EXPECT_EQ(queue.Start(1), 0u) << "from elsewhere it waits for the old thread";
}

TEST_F(EventQueue, TimersFireAfterEachPeriodUntilTheirCountOrCancel) {
    ASSERT_EQ(queue.Start(2), 0u);
    const auto start = Clock::now();
    EXPECT_EQ(Wait(PostTimer(10, 3)), 0);
    EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(30));
    EXPECT_EQ(tally.runs, 3);
    EXPECT_EQ(tally.disposals, 1);

    std::atomic<int> firings = 0;
    const QueueHandle unbounded = PostTimer(1, kRepeatForever, [&] {
        if (++firings == 5) Blocking()();
    });
    ASSERT_TRUE(entered.Comes());
    EXPECT_EQ(Wait(unbounded, 0), WAIT_TIMEOUT);
    EXPECT_EQ(queue.Cancel(unbounded), 0u) << "while it runs";
    release.Set();
    EXPECT_EQ(Wait(unbounded), 0);
    EXPECT_EQ(firings, 5);
    const QueueHandle armed = PostTimer(3600000, kRepeatForever);
    EXPECT_EQ(queue.Cancel(armed), 0u);
    EXPECT_EQ(Wait(armed, 0), 0);
    EXPECT_EQ(tally.disposals, 3);
}

TEST_F(EventQueue, ASerialExecutionKeepsOrderPassesItsTurnAndEndsCleanly) {
    ISerialExecution* const early = CreateSerial();
    for (int i = 0; i < 3; ++i)
        Post([] {}, early);
    queue.DestroySerialExecution(early);
    EXPECT_EQ(tally.disposals, 3) << "before Start";

    ASSERT_EQ(queue.Start(3), 0u);
    ISerialExecution* const serial = CreateSerial();
    std::vector<int> order;
    Post([&] { order.push_back(1); }, serial);
    Post([&] { Blocking()(), throw std::runtime_error("on purpose"); }, serial);
    const QueueHandle dropped = Post([&] { order.push_back(2); }, serial);
    Post([&] { order.push_back(3), throw 3; }, serial);
    const QueueHandle last = Post([&] { order.push_back(4); }, serial);
    ASSERT_TRUE(entered.Comes());
    EXPECT_EQ(Wait(Post([] {})), 0) << "the others have threads left";
    EXPECT_EQ(queue.Cancel(dropped), 0u);
    release.Set();
    EXPECT_EQ(Wait(last), 0);
    EXPECT_THAT(order, ElementsAre(1, 3, 4));

    ResetEvent(entered.handle.Get());
    ResetEvent(release.handle.Get());
    const QueueHandle inFlight = Post(Blocking(), serial);
    const QueueHandle behind = Post([] {}, serial);
    ASSERT_TRUE(entered.Comes());
    std::thread destroyer([&] {
        queue.DestroySerialExecution(serial);
        EXPECT_EQ(Wait(inFlight, 0), 0);
    });
    EXPECT_EQ(Wait(behind), 0) << "dropped while the item before it still runs";
    release.Set();
    destroyer.join();
    EXPECT_EQ(tally.runs, 6);
    EXPECT_EQ(tally.disposals, 11);
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
                auto* const item = isSerial ? new Item(tally, exclusive) : new Item(tally);
                const uint32_t error = isSerial     ? serial->Post(L"", out, item, 0, 0, 0)
                                       : i % 7 == 0 ? queue.PostTimer(L"", out, 1, 2, item, 0, 0, 0)
                                                    : queue.Post(L"", out, item, 0, 0, 0);
                error == 0 ? static_cast<void>(++accepted) : delete item;
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
    for (std::thread& poster : posters)
        poster.join();
    queue.Stop();
    EXPECT_EQ(broken, 0);
    EXPECT_EQ(tally.disposals, accepted);
    EXPECT_GT(tally.runs, kPosters * kRounds / 4);
}

}  // namespace
}  // namespace host
