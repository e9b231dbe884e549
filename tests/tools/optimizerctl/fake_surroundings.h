// An engine, a terminal and a machine of the test's making around the real command line.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <windows.h>

#include "frame/text.h"
#include "frame/vx_string.h"
#include "tests/tools/optimizerctl/fake_boot.h"
#include "tools/optimizerctl/cli.h"
#include "tools/optimizerctl/failure.h"

namespace ctl_test {

using optimizer::profiles::profile;

/// Keeps what it is told, and says what it does like the real one: the request first returns, or its events
/// come while it still runs.
class FakeEngine final : public IOptimizer {
public:
    profile active = profile::Work;
    bool enabled = true;
    std::map<profile, std::wstring> configs;
    uint32_t error = ERROR_SUCCESS;  // of every request
    /// What the observer hears during SetProfile, and when it registers.
    std::function<void(IOptimizerEvents&)> onSet = [](IOptimizerEvents&) {};
    std::function<void(IOptimizerEvents&)> onRegister = [](IOptimizerEvents&) {};

    uint32_t SetProfile(const profile* wanted) override {
        if (error != ERROR_SUCCESS) return error;
        if (*wanted == active) return ERROR_ALREADY_EXISTS;
        active = *wanted;
        if (m_observer != nullptr) onSet(*m_observer);
        return ERROR_SUCCESS;
    }
    uint32_t GetProfile(profile* out) override {
        *out = active;
        return error;
    }
    uint32_t SetProfileConfig(const profile* which, vx::String* config) override {
        if (error == ERROR_SUCCESS) configs[*which] = config->Text();
        return error;
    }
    uint32_t GetProfileConfig(const profile* which, vx::String* config) override {
        config->Assign(configs.contains(*which) ? configs[*which].c_str() : L"{}");
        return error;
    }
    uint32_t SetModuleEnable(bool enable) override {
        enabled = enable;
        if (m_observer != nullptr) onSet(*m_observer);
        return error;
    }
    uint32_t GetModuleEnable(bool* enable) override {
        *enable = enabled;
        return error;
    }
    uint32_t AddEventsObserver(IOptimizerEvents* observer) override {
        m_observer = observer;
        onRegister(*observer);
        return ERROR_SUCCESS;
    }
    uint32_t RemoveEventsObserver(IOptimizerEvents*) override {
        m_observer = nullptr;
        return ERROR_SUCCESS;
    }
    bool IsHeard() const { return m_observer != nullptr; }

    void* QueryInterface(const Identifier*) override { return nullptr; }
    uint32_t Init(IServMain*) override { return ERROR_SUCCESS; }
    void UnInit() override {}
    uint32_t Start() override { return ERROR_SUCCESS; }
    uint32_t Stop() override { return ERROR_SUCCESS; }
    uint32_t StartTask(const int32_t*) override { return ERROR_SUCCESS; }
    void CancelTask(const int32_t*) override {}
    void* DeletingDestructor(uint32_t) override { return nullptr; }

private:
    IOptimizerEvents* m_observer = nullptr;
};

struct Outcome {
    int exitCode;
    std::string out;
    std::string err;
};

/// One person at one machine.
class Person final : ctl::ITerminal, ctl::IEngineSource, ctl::IMachine {
public:
    FakeEngine engine;
    FakeBoot boot;
    bool serviceIsThere = true;
    bool readerIsThere = true;
    std::string input;
    std::wstring settingsFolder;

    Outcome Types(const std::vector<std::wstring>& arguments) {
        m_out.clear();
        m_err.clear();
        InProcess inProcess(engine);
        FakeBootSource bootSource(boot, serviceIsThere);
        ctl::Surroundings surroundings{*this, *this, inProcess, bootSource, *this};
        const ctl::ExitCode code = ctl::RunCommandLine(arguments, surroundings);
        return {static_cast<int>(code), m_out, m_err};
    }

private:
    /// There whether the service is or not.
    class InProcess final : public ctl::IEngineSource {
    public:
        explicit InProcess(FakeEngine& engine) : m_engine(engine) {}
        IOptimizer& Open(std::optional<uint32_t>) override { return m_engine; }

    private:
        FakeEngine& m_engine;
    };

    bool PrintLine(const std::wstring& line) override {
        if (readerIsThere) m_out += optimizer::Narrow(line) + "\n";
        return readerIsThere;
    }
    void PrintErrorLine(const std::wstring& line) override { m_err += optimizer::Narrow(line) + "\n"; }
    void ShowProgress(const std::wstring&) override {}
    std::string ReadInput() override { return input; }
    IOptimizer& Open(std::optional<uint32_t>) override {
        if (!serviceIsThere) throw ctl::Unreachable(ERROR_NOT_ENOUGH_MEMORY, L"nobody is there");
        return engine;
    }
    ctl::ServiceState QueryService() override { return {0, true, false, L"stopped"}; }
    std::wstring SettingsFolder() override { return settingsFolder; }
    std::wstring Name() override { return L"R&D"; }

    std::string m_out;
    std::string m_err;
};

}  // namespace ctl_test
