// The command line of people and scripts.
#include <exception>

#include "frame/text.h"
#include "host/terminal/terminal.h"
#include "tools/optimizerctl/cli.h"
#include "tools/optimizerctl/in_process_engine.h"
#include "tools/optimizerctl/machine.h"
#include "tools/optimizerctl/service_client.h"

namespace {

class Terminal final : public ctl::ITerminal {
public:
    bool PrintLine(const std::wstring& line) override { return host::PrintLine(line); }
    void PrintErrorLine(const std::wstring& line) override { host::PrintErrorLine(line); }
    void ShowProgress(const std::wstring& text) override { host::ShowProgress(text); }
    std::string ReadInput() override { return host::ReadInput(); }
};

}  // namespace

int wmain(int count, wchar_t** arguments) {
    try {
        Terminal terminal;
        ctl::EngineClient service;
        ctl::InProcessEngine inProcess;
        ctl::BootClient boot;
        ctl::Machine machine;
        ctl::Surroundings surroundings{terminal, service, inProcess, boot, machine};
        return static_cast<int>(ctl::RunCommandLine({arguments + 1, arguments + count}, surroundings));
    } catch (const std::exception& error) {
        host::PrintErrorLine(L"The program ends on an unexpected failure: " + optimizer::Widen(error.what()) +
                             L".");
        return static_cast<int>(ctl::ExitCode::Refused);
    }
}
