#include "tools/optimizerctl/completion_noun.h"

#include <CLI/CLI.hpp>

#include "frame/text.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using optimizer::Widen;

constexpr const wchar_t* kHead =
    LR"(# Completes optimizerctl. Add this to your profile:
#   optimizerctl completion powershell | Out-String | Invoke-Expression
Register-ArgumentCompleter -Native -CommandName optimizerctl, optimizerctl.exe -ScriptBlock {
    param($word, $command, $cursor)
    $choices = @{
)";

constexpr const wchar_t* kTail =
    LR"(    }
    $path = ''
    foreach ($element in $command.CommandElements | Select-Object -Skip 1) {
        if ($element.Extent.EndOffset -ge $cursor) { break }
        $longer = "$path $element".Trim()
        if ($choices.ContainsKey($longer)) { $path = $longer }
    }
    $choices[$path] | Where-Object { $_ -like "$word*" } | ForEach-Object {
        [System.Management.Automation.CompletionResult]::new($_, $_, 'ParameterValue', $_)
    }
})";

/// What may stand for a positional argument of that name.
std::vector<std::wstring> ValuesOf(const std::string& argument) {
    if (argument == "PROFILE") return ProfileNames();
    if (argument == "ACTION") return ActionNames();
    return {};
}

void Append(std::vector<std::wstring>& list, const std::vector<std::wstring>& more) {
    list.insert(list.end(), more.begin(), more.end());
}

std::vector<std::wstring> OptionsOf(const CLI::App& app) {
    std::vector<std::wstring> options;
    for (const CLI::Option* option : app.get_options()) {
        if (!option->get_lnames().empty()) options.push_back(L"--" + Widen(option->get_lnames().front()));
    }
    return options;
}

/// The rows of a command and of those below it. Every row has the program's own options too.
void AddRows(const CLI::App& app, const std::wstring& path, const std::vector<std::wstring>& shared,
             std::wstring& rows) {
    const auto below = app.get_subcommands([](const CLI::App*) { return true; });
    std::vector<std::wstring> choices;
    choices.reserve(below.size());
    for (const CLI::App* verb : below)
        choices.push_back(Widen(verb->get_name()));
    for (const CLI::Option* option : app.get_options())
        Append(choices, ValuesOf(option->get_name()));
    for (const std::wstring& option : OptionsOf(app)) {
        if (option != L"--help") choices.push_back(option);
    }
    if (app.get_parent() != nullptr) Append(choices, shared);
    rows += L"        '" + path + L"' = ";
    for (size_t i = 0; i < choices.size(); ++i)
        rows += (i == 0 ? L"'" : L", '") + choices[i] + L"'";
    rows += L"\n";
    for (const CLI::App* verb : below)
        AddRows(*verb, (path.empty() ? L"" : path + L" ") + Widen(verb->get_name()), shared, rows);
}

ExitCode PowerShell(const CLI::App& program, Context& context) {
    std::wstring rows;
    AddRows(program, L"", OptionsOf(program), rows);
    const std::wstring script = kHead + rows + kTail;
    context.Out().Tell(script, {{"script", TextValue(script)}});
    return ExitCode::Done;
}

}  // namespace

void AddCompletionNoun(CLI::App& app, Verbs& verbs) {
    CLI::App& noun = *app.add_subcommand("completion", "Completes these commands in a shell.");
    noun.require_subcommand(0, 1);
    verbs.Add(noun, "powershell", "Prints the script that completes commands in PowerShell.",
              "completion powershell | Out-String | Invoke-Expression",
              [&app](Context& context) { return PowerShell(app, context); });
}

}  // namespace ctl
