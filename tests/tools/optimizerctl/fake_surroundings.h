// A terminal and a machine of the test's making around the real command line.
#pragma once

#include <string>
#include <vector>

#include <windows.h>

#include "frame/text.h"
#include "tests/tools/optimizerctl/fake_boot.h"
#include "tests/tools/optimizerctl/fake_engine.h"
#include "tools/optimizerctl/cli.h"
#include "tools/optimizerctl/failure.h"

namespace ctl_test {

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
