#include "host/service/console.h"

#include <iterator>

#include <windows.h>

#include "frame/json.h"
#include "frame/text.h"
#include "frame/vx_string.h"
#include "host/terminal/terminal.h"

namespace host {

namespace {

using optimizer::SystemErrorText;
using optimizer::profiles::profile;

std::wstring NameOf(profile which) {
    const auto value = static_cast<uint32_t>(which);
    return value < optimizer::profiles::kCount ? optimizer::profiles::kNames[value] : std::to_wstring(value);
}

/// Prints what the engine tells its clients.
class EventPrinter final : public IOptimizerEvents {
public:
    void OnTaskFinished(const wchar_t*, const uint32_t* task, uint32_t status) override {
        PrintLine(L"event: task " + std::to_wstring(*task) + L" finished with " + std::to_wstring(status));
    }
    void OnProfileChanged(const wchar_t*, const profile* changed) override {
        PrintLine(L"event: profile changed to " + NameOf(*changed));
    }
    void OnActionsExecuted(const wchar_t*, const profile* executed) override {
        PrintLine(L"event: actions executed for " + NameOf(*executed));
    }
    void OnProfileConfigChanged(const wchar_t*, const profile* changed) override {
        PrintLine(L"event: config changed for " + NameOf(*changed));
    }
    void OnOptimizerModuleEnableChanged(const wchar_t*, bool enabled) override {
        PrintLine(std::wstring(L"event: module ") + (enabled ? L"on" : L"off"));
    }
    void OnOptimizerProcessOptimized(const wchar_t* process, uint32_t count) override {
        PrintLine(std::wstring(L"event: process optimized ") + process + L" " + std::to_wstring(count));
    }
};

/// Carries out the commands of one console.
class Commands {
public:
    explicit Commands(IOptimizer& engine) : m_engine(engine) {}

    /// False for "quit".
    bool Run(const std::wstring& line);
    bool HasFailed() const { return m_failed; }

private:
    void _Profile(const std::wstring& name);
    void _Module(const std::wstring& state);
    void _Config(const std::wstring& arguments);
    void _Status();
    bool _FindProfile(const std::wstring& name, profile& out);
    void _Fail(const std::wstring& sentence);

    IOptimizer& m_engine;
    bool m_failed = false;
};

/// Takes the first word off a line.
std::wstring TakeWord(std::wstring& line) {
    const size_t start = line.find_first_not_of(L' ');
    if (start == std::wstring::npos) {
        line.clear();
        return {};
    }
    const size_t end = line.find(L' ', start);
    std::wstring word = line.substr(start, end == std::wstring::npos ? end : end - start);
    const size_t rest = end == std::wstring::npos ? end : line.find_first_not_of(L' ', end);
    line = rest == std::wstring::npos ? L"" : line.substr(rest);
    return word;
}

bool Commands::Run(const std::wstring& line) {
    std::wstring rest = line;
    const std::wstring verb = TakeWord(rest);
    if (verb == L"quit") return false;
    if (verb == L"profile") {
        _Profile(rest);
    } else if (verb == L"module") {
        _Module(rest);
    } else if (verb == L"config") {
        _Config(rest);
    } else if (verb == L"status") {
        _Status();
    } else if (!verb.empty()) {
        _Fail(L"There is no command \"" + verb +
              L"\"; use profile NAME, module on|off, config PROFILE JSON, status or quit.");
    }
    return true;
}

void Commands::_Profile(const std::wstring& name) {
    profile wanted = profile::Disabled;
    if (!_FindProfile(name, wanted)) return;
    const uint32_t error = m_engine.SetProfile(&wanted);
    if (error == ERROR_SUCCESS) {
        PrintLine(L"profile " + name + L": accepted");
    } else if (error == ERROR_ALREADY_EXISTS) {
        PrintLine(L"profile " + name + L": already active");
    } else {
        _Fail(L"The profile " + name + L" was refused by the engine: " + SystemErrorText(error) + L".");
    }
}

void Commands::_Module(const std::wstring& state) {
    if (state != L"on" && state != L"off") {
        _Fail(L"The module is either on or off; use \"module on\" or \"module off\".");
        return;
    }
    const uint32_t error = m_engine.SetModuleEnable(state == L"on");
    if (error == ERROR_SUCCESS) {
        PrintLine(L"module " + state + L": done");
    } else {
        _Fail(L"The module couldn't be switched " + state + L": " + SystemErrorText(error) + L".");
    }
}

void Commands::_Config(const std::wstring& arguments) {
    std::wstring text = arguments;
    const std::wstring name = TakeWord(text);
    profile which = profile::Disabled;
    if (!_FindProfile(name, which)) return;
    picojson::value parsed;
    std::string problem;
    if (!optimizer::json::Parse(optimizer::Narrow(text), parsed, problem) || !parsed.is<picojson::object>()) {
        _Fail(L"The config is not a JSON object (" + optimizer::Widen(problem) +
              L"); write for example {\"WindowsServices\":{\"active\":false}}.");
        return;
    }
    vx::String config(text.c_str());
    const uint32_t error = m_engine.SetProfileConfig(&which, &config);
    if (error == ERROR_SUCCESS) {
        PrintLine(L"config " + name + L": stored");
    } else {
        _Fail(L"The config of " + name + L" was not stored: " + SystemErrorText(error) +
              L". Somebody must be logged on, and the settings folder must be writable.");
    }
}

void Commands::_Status() {
    profile active = profile::Disabled;
    bool enabled = false;
    const uint32_t error = m_engine.GetProfile(&active);
    if (error != ERROR_SUCCESS || m_engine.GetModuleEnable(&enabled) != ERROR_SUCCESS) {
        _Fail(L"The engine gives no status: " + SystemErrorText(error) + L".");
        return;
    }
    PrintLine(L"status: profile " + NameOf(active) + L", module " + (enabled ? L"on" : L"off"));
}

bool Commands::_FindProfile(const std::wstring& name, profile& out) {
    for (uint32_t value = 0; value < optimizer::profiles::kCount; ++value) {
        if (name == optimizer::profiles::kNames[value]) {
            out = static_cast<profile>(value);
            return true;
        }
    }
    _Fail(L"There is no profile \"" + name + L"\"; choose Disabled, Work, Game, Movie or Battery.");
    return false;
}

void Commands::_Fail(const std::wstring& sentence) {
    m_failed = true;
    PrintErrorLine(sentence);
}

/// Ends the reading of commands when the console is interrupted or closed, so that the engine ends in order.
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

int RunConsole(EngineHost& host) {
    const InterruptWatch watch;
    EventPrinter printer;
    IOptimizer& engine = *host.Engine();
    engine.AddEventsObserver(&printer);
    Commands commands(engine);
    PrintLine(L"ready");
    std::wstring line;
    while (ReadInputLine(line) && commands.Run(line)) {
    }
    engine.RemoveEventsObserver(&printer);
    host.Stop();
    return commands.HasFailed() ? 1 : 0;
}

}  // namespace host
