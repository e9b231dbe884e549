#include "tools/optimizerctl/watch_noun.h"

#include <algorithm>
#include <cwchar>

#include <CLI/CLI.hpp>

#include "frame/text.h"
#include "tools/optimizerctl/event_inbox.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using optimizer::profiles::profile;

constexpr uint32_t kPollMs = 1000;
constexpr size_t kWhatWidth = 40;

/// How a kind of event is told. The text is followed by what it is about.
struct Wording {
    const char* name;
    const char* key;
    const wchar_t* text;
};

/// By kind.
constexpr Wording kWordings[] = {
    {"taskFinished", "task", L"task finished: "},
    {"profileChanged", "profile", L"profile changed to "},
    {"actionsExecuted", "profile", L"actions executed for "},
    {"configChanged", "profile", L"config changed of "},
    {"moduleChanged", "on", L"module switched "},
    {"processOptimized", "process", L"process optimized: "},
};

const Wording& WordingOf(const Event& event) {
    return kWordings[static_cast<size_t>(event.kind)];
}

std::wstring Format(const wchar_t* format, const SYSTEMTIME& t) {
    wchar_t text[32] = {};
    _snwprintf(text, std::size(text) - 1, format, t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond,
               t.wMilliseconds);
    return text;
}

std::wstring Subject(const Event& event) {
    switch (event.kind) {
        case EventKind::TaskFinished:
            return std::to_wstring(event.value) + L", " +
                   (event.status == 0 ? L"done" : optimizer::SystemErrorText(event.status));
        case EventKind::ModuleChanged:
            return event.value != 0 ? L"on" : L"off";
        case EventKind::ProcessOptimized:
            return event.subject + L", " + std::to_wstring(event.value);
        default:
            return NameOf(profile{event.value});
    }
}

std::wstring LineOf(const Event& event) {
    const std::wstring what = WordingOf(event).text + Subject(event);
    const bool hasUser = event.kind != EventKind::ProcessOptimized && !event.subject.empty();
    return Format(L"%04u-%02u-%02u %02u:%02u:%02u", event.time) + L"  " +
           (hasUser ? Column(what, kWhatWidth) + event.subject : what);
}

picojson::object DocumentOf(const Event& event) {
    const Wording& wording = WordingOf(event);
    picojson::object document{{"event", picojson::value(wording.name)},
                              {"time", TextValue(Format(L"%04u-%02u-%02uT%02u:%02u:%02u.%03u", event.time))}};
    picojson::value& value = document[wording.key];
    if (event.kind == EventKind::ProcessOptimized) {
        value = TextValue(event.subject);
        document["count"] = NumberValue(event.value);
        return document;
    }
    document["user"] = TextValue(event.subject);
    if (event.kind == EventKind::ModuleChanged) {
        value = picojson::value(event.value != 0);
    } else if (event.kind == EventKind::TaskFinished) {
        value = NumberValue(event.value);
        document["status"] = NumberValue(event.status);
    } else {
        value = TextValue(NameOf(profile{event.value}));
    }
    return document;
}

/// Turns Ctrl+C and its like into a signal while it lives. One at a time.
class Interrupt {
public:
    Interrupt() {
        s_signal.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        SetConsoleCtrlHandler(&_OnInterrupt, TRUE);
    }
    ~Interrupt() { SetConsoleCtrlHandler(&_OnInterrupt, FALSE); }
    Interrupt(const Interrupt&) = delete;
    Interrupt& operator=(const Interrupt&) = delete;

    HANDLE Signal() const { return s_signal.Get(); }

private:
    static BOOL WINAPI _OnInterrupt(DWORD) {
        SetEvent(s_signal.Get());
        return TRUE;
    }

    // Outlives the object, for a handler may still run.
    inline static optimizer::KernelHandle s_signal;
};

void CheckStillThere(IOptimizer& engine) {
    profile active = profile::Disabled;
    const uint32_t error = engine.GetProfile(&active);
    if (error != ERROR_SUCCESS)
        throw Unreachable(error, L"it went away, " + optimizer::SystemErrorText(error));
}

/// How long to wait for the next event; 0 when the time is up.
uint32_t PauseMs(std::optional<uint32_t> timeoutMs, uint64_t waitedMs) {
    if (!timeoutMs) return kPollMs;
    return waitedMs >= *timeoutMs ? 0
                                  : static_cast<uint32_t>(std::min<uint64_t>(kPollMs, *timeoutMs - waitedMs));
}

ExitCode Watch(Context& context) {
    const std::wstring countText = context.Argument("--count");
    const uint64_t wanted = countText.empty() ? 0 : std::wcstoull(countText.c_str(), nullptr, 10);
    const uint64_t start = GetTickCount64();
    IOptimizer& engine = context.Engine();
    const Interrupt interrupt;
    EventInbox inbox(engine);
    context.Out().Note(L"watching; Ctrl+C ends it");
    const HANDLE signals[] = {interrupt.Signal(), inbox.Signal()};
    for (uint64_t seen = 0;;) {
        while (const auto event = inbox.Take()) {
            if (!context.Out().Tell(LineOf(*event), DocumentOf(*event)) || ++seen == wanted)
                return ExitCode::Done;
        }
        const uint32_t pauseMs = PauseMs(context.TimeoutMs(), GetTickCount64() - start);
        if (pauseMs == 0) break;
        const DWORD woken = WaitForMultipleObjects(2, signals, FALSE, pauseMs);
        if (woken == WAIT_OBJECT_0) return ExitCode::Done;
        if (woken == WAIT_TIMEOUT && pauseMs == kPollMs) CheckStillThere(engine);
    }
    if (wanted == 0) return ExitCode::Done;
    throw Failure(ExitCode::TimedOut, WAIT_TIMEOUT,
                  L"Fewer than " + std::to_wstring(wanted) + L" events came within " +
                      SecondsText(context.TimeoutMs().value_or(0)) + L".");
}

}  // namespace

void AddWatchNoun(CLI::App& app, Verbs& verbs) {
    CLI::App* const verb =
        verbs.Add(app, "watch", "Prints the engine's events as they come.", "watch --json --count 2", &Watch);
    verb->add_option("--count", "end after so many events")->type_name("N")->check(CLI::Range(1, 1000000000));
}

}  // namespace ctl
