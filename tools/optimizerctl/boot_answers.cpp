#include "tools/optimizerctl/boot_answers.h"

#include <algorithm>

#include <windows.h>

#include "frame/handles.h"
#include "frame/process_impact.h"
#include "frame/vx_list.h"
#include "tools/optimizerctl/actions_wait.h"

namespace ctl {

namespace {

using boottime::IBootTimeCommClient;
using boottime::kNoResults;
using boottime::kStillMeasuring;

constexpr uint32_t kDefaultWaitMs = 600000;
constexpr uint32_t kPollMs = 1000;
constexpr uint64_t kRequestMs = 5000;
constexpr const wchar_t* kQuestion = L"The service doesn't tell the figures of the boot";

/// Signalled when the measurement is over.
class MeasurementEnd final : public boottime::IBootTimeEvents {
public:
    explicit MeasurementEnd(IBootTimeCommClient& boot)
        : m_boot(boot), m_signal(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
        m_boot.AddEventsObserver(this);
    }
    ~MeasurementEnd() { m_boot.RemoveEventsObserver(this); }
    MeasurementEnd(const MeasurementEnd&) = delete;
    MeasurementEnd& operator=(const MeasurementEnd&) = delete;

    void OnDataAnalysed(uint32_t) override { SetEvent(m_signal.Get()); }
    HANDLE Signal() const { return m_signal.Get(); }

private:
    IBootTimeCommClient& m_boot;
    optimizer::KernelHandle m_signal;
};

/// The client gives 2 for a connection that failed too: what it says without waiting, and how long it took,
/// tell that apart.
void CheckConnection(IBootTimeCommClient& boot, uint64_t tookMs) {
    auto* const async = static_cast<boottime::IBootTimeCommClientAsync*>(
        boot.QueryInterface(&boottime::IBootTimeCommClientAsync::kIdentifier));
    if (async != nullptr) Require(async->GetBootTimeAsync(), kQuestion);
    if (tookMs >= kRequestMs) throw RequestFailed(kQuestion, WAIT_TIMEOUT);
}

/// The status of a request, with the states of a connection taken out.
template <class Request>
uint32_t Ask(Context& context, Request request) {
    IBootTimeCommClient& boot = context.Boot();
    const Clock::time_point start = Clock::now();
    const uint32_t status = request(boot);
    if (status == kNoResults) CheckConnection(boot, MillisecondsSince(start));
    if (status > kNoResults) throw RequestFailed(kQuestion, status);
    return status;
}

void RequireResults(uint32_t status) {
    if (status == kStillMeasuring) {
        throw Failure(ExitCode::Refused, status,
                      L"The boot is still being measured; try again in a few minutes, or add --wait.");
    }
    if (status == kNoResults) {
        throw Failure(ExitCode::Refused, status,
                      L"There are no figures of a boot: the measurement found none. A service that was "
                      L"installed or started by hand measures from the machine's next start on.");
    }
}

uint32_t AskTime(Context& context, Unfinished unfinished, uint32_t* timeMs) {
    const auto ask = [&] {
        return Ask(context, [&](IBootTimeCommClient& boot) { return boot.GetBootTime(timeMs); });
    };
    if (unfinished == Unfinished::Fail) return ask();
    const uint32_t limitMs = context.TimeoutMs().value_or(kDefaultWaitMs);
    const Clock::time_point start = Clock::now();
    // Listening begins before the first question: an end between the two would be missed.
    const MeasurementEnd end(context.Boot());
    uint32_t status = ask();
    while (status == kStillMeasuring) {
        const uint64_t waitedMs = MillisecondsSince(start);
        if (waitedMs >= limitMs) {
            throw Failure(ExitCode::TimedOut, WAIT_TIMEOUT,
                          L"The boot was not measured to its end within " + SecondsText(limitMs) +
                              L"; the measurement goes on.");
        }
        context.Out().ShowProgress(L"The boot is being measured, " + std::to_wstring(waitedMs / 1000) +
                                   L" s");
        WaitForSingleObject(end.Signal(),
                            static_cast<DWORD>(std::min<uint64_t>(kPollMs, limitMs - waitedMs)));
        status = ask();
    }
    context.Out().ShowProgress(L"");
    return status;
}

}  // namespace

uint32_t AskBootTime(Context& context, Unfinished unfinished) {
    uint32_t timeMs = 0;
    RequireResults(AskTime(context, unfinished, &timeMs));
    return timeMs;
}

std::vector<BootProcess> AskProcesses(Context& context) {
    vx::List<boottime::ProcessImpact> list;
    boottime::ProcessImpact all = {};
    RequireResults(Ask(context, [&](IBootTimeCommClient& boot) { return boot.GetBootImpact(&list, &all); }));
    std::vector<BootProcess> processes;
    vx::ForEach(list, [&](const boottime::ProcessImpact& impact) {
        processes.push_back({impact.pid, impact.ppid, impact.name.Text(), impact.counters});
    });
    return processes;
}

boottime::DiskSpeed AskDisk(Context& context, Unfinished unfinished) {
    boottime::DiskSpeed speed = {};
    const auto ask = [&] {
        return Ask(context, [&](IBootTimeCommClient& boot) { return boot.GetDiskSpeed(&speed); });
    };
    uint32_t status = ask();
    if (status != boottime::kResultsThere) {
        // The disk's status stays at its beginning unless this service has measured the boot itself.
        AskBootTime(context, unfinished);
        status = ask();
    }
    if (status != boottime::kResultsThere) {
        throw Failure(ExitCode::Refused, status,
                      L"The disk was not measured: that happens once, right after a boot, and the figures "
                      L"are gone when the service starts again.");
    }
    return speed;
}

BootFigures AskEverything(Context& context, Unfinished unfinished) {
    BootFigures figures;
    figures.timeMs = AskBootTime(context, unfinished);
    figures.processes = AskProcesses(context);
    boottime::DiskSpeed speed = {};
    const uint32_t status =
        Ask(context, [&](IBootTimeCommClient& boot) { return boot.GetDiskSpeed(&speed); });
    if (status == boottime::kResultsThere) figures.disk = speed;
    return figures;
}

}  // namespace ctl
