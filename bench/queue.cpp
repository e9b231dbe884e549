// The host's event queue against the system's thread pool: from posting an item that does nothing until it is
// known to be done.
#include <atomic>
#include <stdexcept>

#include "bench/harness.h"
#include "frame/handles.h"
#include "framework/event_queue.h"

namespace bench {

namespace {

constexpr uint32_t kQueueThreads = 4;  // as many as the host has
constexpr uint32_t kBatch = 64;

void Require(bool worked) {
    if (!worked) throw std::runtime_error("the queue or the thread pool refused an item");
}

/// Is done when the last of a batch has run.
class Countdown {
public:
    void Start() { m_left = kBatch; }
    void Count() {
        if (--m_left == 0) SetEvent(m_done.Get());
    }
    void Wait() const { WaitForSingleObject(m_done.Get(), INFINITE); }

private:
    std::atomic<uint32_t> m_left = 0;
    optimizer::KernelHandle m_done{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

class Item final : public EqWorkItem {
public:
    explicit Item(Countdown* countdown) : m_countdown(countdown) {}
    void* DeletingDestructor(uint32_t) override { return nullptr; }
    void Dispose() override { delete this; }
    void Execute() override {
        if (m_countdown != nullptr) m_countdown->Count();
    }

private:
    Countdown* const m_countdown;
};

void CALLBACK DoNothing(PTP_CALLBACK_INSTANCE, void*, PTP_WORK) {}

void CALLBACK Count(PTP_CALLBACK_INSTANCE, void* countdown) {
    static_cast<Countdown*>(countdown)->Count();
}

}  // namespace

Figure QueueOneByOne() {
    host::CEventQueue queue;
    Require(queue.Start(kQueueThreads) == ERROR_SUCCESS);
    const auto ours = [&queue] {
        QueueHandle handle = nullptr;
        Require(queue.Post(L"bench", &handle, new Item(nullptr), 0, 0, 0) == ERROR_SUCCESS);
        queue.Wait(handle, kWaitForever);
        queue.CloseItem(handle);
    };
    const auto bare = [] {
        const PTP_WORK work = CreateThreadpoolWork(&DoNothing, nullptr, nullptr);
        Require(work != nullptr);
        SubmitThreadpoolWork(work);
        WaitForThreadpoolWorkCallbacks(work, FALSE);
        CloseThreadpoolWork(work);
    };
    return {"queue, post to done", "the system thread pool", 2, Ratios(ours, bare), {}};
}

Figure QueueBatch() {
    host::CEventQueue queue;
    Require(queue.Start(kQueueThreads) == ERROR_SUCCESS);
    Countdown countdown;
    const auto ours = [&] {
        countdown.Start();
        for (uint32_t i = 0; i < kBatch; ++i)
            Require(queue.Post(L"bench", nullptr, new Item(&countdown), 0, 0, 0) == ERROR_SUCCESS);
        countdown.Wait();
    };
    const auto bare = [&countdown] {
        countdown.Start();
        for (uint32_t i = 0; i < kBatch; ++i)
            Require(TrySubmitThreadpoolCallback(&Count, &countdown, nullptr) != FALSE);
        countdown.Wait();
    };
    return {"queue, " + std::to_string(kBatch) + " posts to all done",
            "the system thread pool",
            2,
            Ratios(ours, bare),
            {}};
}

}  // namespace bench
