#include "host/service/console.h"

#include <windows.h>

#include "frame/handles.h"
#include "host/service/agent_arrival.h"
#include "host/service/run_teller.h"
#include "host/terminal/terminal.h"

namespace host {

namespace {

/// Ends the reading of the input when the console is interrupted or closed, so that the engine ends in order.
class InterruptWatch {
public:
    InterruptWatch() {
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), s_reader.Receive(), 0,
                        FALSE, DUPLICATE_SAME_ACCESS);
        s_ended.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        SetConsoleCtrlHandler(&_OnInterrupt, TRUE);
    }
    /// The engine has ended by then.
    ~InterruptWatch() { SetEvent(s_ended.Get()); }
    InterruptWatch(const InterruptWatch&) = delete;
    InterruptWatch& operator=(const InterruptWatch&) = delete;

private:
    static BOOL WINAPI _OnInterrupt(DWORD) {
        constexpr DWORD kPatienceMs = 30000;
        CancelSynchronousIo(s_reader.Get());
        // The system ends the process when this returns from a close or a shut-down.
        WaitForSingleObject(s_ended.Get(), kPatienceMs);
        return TRUE;
    }

    inline static optimizer::KernelHandle s_reader;
    inline static optimizer::KernelHandle s_ended;
};

}  // namespace

bool RunConsole(EngineHost& host) {
    const InterruptWatch watch;
    // Before the line that has people change the profile.
    ExpectSessionAgent(host.Components());
    PrintLine(L"ready");
    bool allDone = true;
    {
        RunTeller teller(*host.Engine());
        std::wstring line;
        while (ReadInputLine(line)) {
        }
        allDone = teller.TellLast();
    }
    host.Stop();
    return allDone;
}

}  // namespace host
