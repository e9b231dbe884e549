#pragma once

#include <cstdint>
#include <string>

#include "border/host.h"

namespace optimizer {

/// Starts the suite's "BootLauncher.exe" five minutes after the agent came up, once for as long as the user's
/// registry hive stays loaded: a volatile key remembers that it was done. A start that failed is tried again
/// every five minutes.
///
/// A member of the agent, which is freed without a destructor: UnInit empties it. Init, Start, Stop and
/// UnInit come in this order from one thread; the timer's item runs on the host's. Stop blocks while it does.
class CBootLauncherExec {
public:
    CBootLauncherExec() = default;
    CBootLauncherExec(const CBootLauncherExec&) = delete;
    CBootLauncherExec& operator=(const CBootLauncherExec&) = delete;

    void Init(IServMain* main);
    /// May be called more than once.
    void UnInit();
    void Start();
    void Stop();

private:
    void _Run();
    bool _AlreadyExecuted() const;
    void _MarkAsExecuted() const;
    std::wstring _Key() const;

    IServMain* m_main = nullptr;
    IEventQueue* m_queue = nullptr;
    QueueHandle m_timer = nullptr;
    std::wstring m_productName;
    int64_t m_startTime = 0;  // seconds since 1970
};

}  // namespace optimizer
