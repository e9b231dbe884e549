#include "tools/optimizerctl/cli.h"

#include <algorithm>
#include <memory>

#include <CLI/CLI.hpp>

#include "frame/text.h"
#include "host/terminal/command_line.h"
#include "tools/optimizerctl/actions_wait.h"
#include "tools/optimizerctl/apps_noun.h"
#include "tools/optimizerctl/boot_noun.h"
#include "tools/optimizerctl/completion_noun.h"
#include "tools/optimizerctl/config_noun.h"
#include "tools/optimizerctl/doctor_noun.h"
#include "tools/optimizerctl/module_noun.h"
#include "tools/optimizerctl/names.h"
#include "tools/optimizerctl/output.h"
#include "tools/optimizerctl/profile_noun.h"
#include "tools/optimizerctl/time_limit.h"
#include "tools/optimizerctl/verbs.h"
#include "tools/optimizerctl/watch_noun.h"

namespace ctl {

namespace {

using optimizer::Narrow;
using optimizer::Widen;

constexpr void (*kNouns[])(CLI::App&, Verbs&) = {
    &AddProfileNoun, &AddModuleNoun, &AddConfigNoun, &AddAppsNoun,
    &AddBootNoun,    &AddWatchNoun,  &AddDoctorNoun, &AddCompletionNoun,
};

constexpr double kShortestTimeout = 0.1;
constexpr double kLongestTimeout = 86400;

constexpr const char* kFooter =
    "Examples:\n"
    "  optimizerctl profile set Game --wait\n"
    "  optimizerctl config disable Work WindowsServices\n"
    "  optimizerctl watch --json\n"
    "\n"
    "\"optimizerctl NOUN VERB --help\" tells more.\n"
    "Exit codes: 0 done, 1 refused by the engine, 2 usage, 3 no service, 4 timed out.";

std::string CheckTimeout(std::string& text) {
    double seconds = 0;
    const bool number = CLI::detail::lexical_cast(text, seconds);
    // Written so that "nan" fails too.
    if (number && seconds >= kShortestTimeout && seconds <= kLongestTimeout) return {};
    return "give a number of seconds from 0.1 to 86400, not \"" + text + "\"";
}

/// The program's options and verbs.
class CommandLine {
public:
    CommandLine();

    void Parse(const std::vector<std::wstring>& arguments);
    ExitCode Run(Surroundings& surroundings, Output& output);

    std::wstring Help() const { return Widen(m_app.help()); }
    /// A sentence about what is wrong with the arguments, and what may stand there.
    Failure Explain(const CLI::ParseError& error) const;

private:
    const CLI::App& _Chosen() const;
    std::wstring _Choices() const;

    CLI::App m_app{"Switches this machine between its profiles, through the running service.",
                   "optimizerctl"};
    Verbs m_verbs;
    double m_timeoutSeconds = 0;  // 0 for none
    bool m_inProcess = false;
};

CommandLine::CommandLine() {
    m_app.get_formatter()->column_width(28);
    m_app.allow_windows_style_options(false);
    m_app.set_help_flag("-h,--help", "print this");
    m_app.fallthrough();
    m_app.require_subcommand(0, 1);
    m_app.add_flag("--json")->description("print one JSON document, for failures too");
    m_app.add_flag("--quiet")->description("print nothing but failures");
    m_app.add_flag("--in-process", m_inProcess, "work with an engine of its own, without a service");
    m_app.add_option("--timeout", m_timeoutSeconds, "give up after that time")
        ->type_name("SECONDS")
        ->check(CLI::Validator(&CheckTimeout, ""));
    for (const auto& addNoun : kNouns)
        addNoun(m_app, m_verbs);
    m_app.footer(kFooter);
}

void CommandLine::Parse(const std::vector<std::wstring>& arguments) {
    host::ParseArguments(m_app, arguments);
}

ExitCode CommandLine::Run(Surroundings& surroundings, Output& output) {
    const CLI::App& chosen = _Chosen();
    const Verbs::Action* const action = m_verbs.Find(chosen);
    if (action == nullptr) throw WrongUse(L"Something is missing: " + _Choices());
    std::optional<uint32_t> timeoutMs;
    if (m_timeoutSeconds > 0) timeoutMs = static_cast<uint32_t>(m_timeoutSeconds * 1000);
    Context context(chosen, surroundings, output, m_inProcess, timeoutMs);
    // An engine that ended in the middle of an action would leave the machine between two states.
    const auto limitMs = m_inProcess ? std::nullopt : timeoutMs;
    const TimeLimit limit(limitMs, [&] { return output.Fail(context.TimeIsUp()); });
    const Clock::time_point start = Clock::now();
    try {
        const ExitCode code = (*action)(context);
        return LetRunEnd(context, start) || code != ExitCode::Done ? code : ExitCode::TimedOut;
    } catch (const Failure& failure) {
        // A wait that lasted too long has told what happens to the run.
        if (failure.Exit() != ExitCode::TimedOut) LetRunEnd(context, start);
        throw;
    }
}

const CLI::App& CommandLine::_Chosen() const {
    const CLI::App* chosen = &m_app;
    while (!chosen->get_subcommands().empty())
        chosen = chosen->get_subcommands().front();
    return *chosen;
}

std::wstring CommandLine::_Choices() const {
    const CLI::App& chosen = _Chosen();
    std::wstring command = Widen(chosen.get_name());
    for (const CLI::App* parent = chosen.get_parent(); parent != nullptr; parent = parent->get_parent())
        command.insert(0, Widen(parent->get_name()) + L" ");
    std::vector<std::wstring> choices;
    for (const CLI::App* verb : chosen.get_subcommands([](const CLI::App*) { return true; }))
        choices.push_back(Widen(verb->get_name()));
    const std::wstring help = L"see \"" + command + L" --help\".";
    return choices.empty() ? help : L"\"" + command + L"\" takes " + ListChoices(choices) + L"; " + help;
}

Failure CommandLine::Explain(const CLI::ParseError& error) const {
    return WrongUse(Widen(error.what()) + L"; " + _Choices());
}

bool Contains(const std::vector<std::wstring>& arguments, const wchar_t* option) {
    return std::find(arguments.begin(), arguments.end(), option) != arguments.end();
}

}  // namespace

ExitCode RunCommandLine(const std::vector<std::wstring>& arguments, Surroundings& surroundings) {
    Output output(surroundings.terminal);
    // Told by the bare look, so that an error of the parser takes the form that was asked for.
    output.SetForm(Contains(arguments, L"--json"), Contains(arguments, L"--quiet"));
    try {
        CommandLine line;
        try {
            line.Parse(arguments);
        } catch (const CLI::CallForHelp&) {
            const std::wstring help = line.Help();
            surroundings.terminal.PrintLine(help.substr(0, help.find_last_not_of(L'\n') + 1));
            return ExitCode::Done;
        } catch (const CLI::ParseError& error) {
            throw line.Explain(error);
        }
        return line.Run(surroundings, output);
    } catch (const Failure& failure) {
        return output.Fail(failure);
    }
}

}  // namespace ctl
