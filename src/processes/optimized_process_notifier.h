#pragma once

#include <memory>

#include "border/host.h"
#include "frame/callback_list.h"

namespace optimizer {

class IOptimizedProcessesObserver {
public:
    /// `count` processes of the application `name` were raised; 0 is told too. On the notifier's serial
    /// execution. An observer that wants to leave unregisters on another thread: from inside it would wait
    /// for itself.
    virtual void OnProcessOptimized(const wchar_t* name, uint32_t count) = 0;

protected:
    ~IOptimizedProcessesObserver() = default;
};

class IOptimizedProcessNotifier {
public:
    /// Posts the news and returns; 0, 6 (ERROR_INVALID_HANDLE) while it isn't started, 14
    /// (ERROR_OUTOFMEMORY) or an error of the queue. Throws nothing.
    virtual uint32_t Notify(const wchar_t* name, uint32_t count) = 0;
    virtual uint32_t RegisterObserver(IOptimizedProcessesObserver* observer) = 0;
    /// Blocks while a delivery is in flight.
    virtual uint32_t UnregisterObserver(IOptimizedProcessesObserver* observer) = 0;

protected:
    ~IOptimizedProcessNotifier() = default;
};

/// Carries the news of raised processes from the priority action to whoever listens, off the action's lock.
/// One for the process, owned by COptimizerPlugin, which starts it before and stops it after the actions.
/// Notify comes from any thread in between.
class COptimizedProcessNotifier final : public IOptimizedProcessNotifier {
public:
    COptimizedProcessNotifier() { s_instance = this; }
    ~COptimizedProcessNotifier();
    COptimizedProcessNotifier(const COptimizedProcessNotifier&) = delete;
    COptimizedProcessNotifier& operator=(const COptimizedProcessNotifier&) = delete;

    /// The module's notifier; null when there is no engine.
    static IOptimizedProcessNotifier* Instance() { return s_instance; }

    void SetMain(IServMain* main) { m_main = main; }
    void Start();
    /// Blocks until a delivery in flight has ended; drops the others.
    void Stop();

    uint32_t Notify(const wchar_t* name, uint32_t count) override;
    uint32_t RegisterObserver(IOptimizedProcessesObserver* observer) override;
    uint32_t UnregisterObserver(IOptimizedProcessesObserver* observer) override;

private:
    /// The item shares in the copy of the name, so that one that the host drops takes it along.
    using Name = std::shared_ptr<wchar_t>;

    void _Deliver(Name name, uint32_t count);

    inline static COptimizedProcessNotifier* s_instance = nullptr;

    IServMain* m_main = nullptr;
    IEventQueue* m_queue = nullptr;
    ISerialExecution* m_serial = nullptr;
    CallbackList<IOptimizedProcessesObserver*> m_observers;
};

}  // namespace optimizer
