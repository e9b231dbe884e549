#include "tools/optimizerctl/boot_noun.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

#include <CLI/CLI.hpp>

#include "frame/text.h"
#include "frame/whole_file.h"
#include "tools/optimizerctl/boot_answers.h"
#include "tools/optimizerctl/boot_page.h"
#include "tools/optimizerctl/boot_table.h"
#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

Unfinished WaitOf(const Context& context) {
    return context.Has("--wait") ? Unfinished::Wait : Unfinished::Fail;
}

ExitCode Time(Context& context) {
    const uint32_t timeMs = AskBootTime(context, WaitOf(context));
    context.Out().Tell(L"The boot took " + SecondsText(timeMs) + L".",
                       {{"milliseconds", NumberValue(timeMs)}});
    return ExitCode::Done;
}

size_t FindOrder(const std::wstring& name) {
    if (name.empty()) return static_cast<size_t>(Cost::Cpu);
    const auto* const found = std::find(std::begin(kSortNames), std::end(kSortNames), name);
    if (found != std::end(kSortNames)) return static_cast<size_t>(found - std::begin(kSortNames));
    throw WrongUse(L"There is no order \"" + name + L"\"; choose " +
                   ListChoices({std::begin(kSortNames), std::end(kSortNames)}) + L".");
}

ExitCode Impact(Context& context) {
    const size_t order = FindOrder(context.Argument("--sort"));
    const std::wstring top = context.Argument("--top");
    TableView view;
    if (order < std::size(kCosts)) view.share = kCosts[order];
    if (!top.empty()) view.most = std::wcstoul(top.c_str(), nullptr, 10);
    BootFigures figures;
    figures.timeMs = AskBootTime(context, WaitOf(context));
    figures.processes = AskProcesses(context);
    Sort(figures.processes, order);
    context.Out().Tell(ImpactText(figures, view), ImpactDocument(figures, view));
    return ExitCode::Done;
}

ExitCode Disk(Context& context) {
    const boottime::DiskSpeed disk = AskDisk(context, WaitOf(context));
    context.Out().Tell(L"After the boot the disks were busy for " + OneDecimal(disk.average_hddUsage) +
                           L"% of the time on average, between " + OneDecimal(disk.min_hddUsage) + L"% and " +
                           OneDecimal(disk.max_hddUsage) + L"%.",
                       {{"average", picojson::value(disk.average_hddUsage)},
                        {"max", picojson::value(disk.max_hddUsage)},
                        {"min", picojson::value(disk.min_hddUsage)}});
    return ExitCode::Done;
}

ExitCode Report(Context& context) {
    const std::wstring path = context.Argument("FILE");
    SYSTEMTIME now = {};
    GetLocalTime(&now);
    const std::wstring page =
        BootPage(AskEverything(context, WaitOf(context)), context.Machine().Name(), now);
    if (const uint32_t error = optimizer::WriteWholeFile(path, optimizer::Narrow(page));
        error != ERROR_SUCCESS) {
        throw Failure(ExitCode::Refused, error,
                      L"The report can't be written to " + path + L": " + optimizer::SystemErrorText(error) +
                          L"; give a file in a folder that you may write to.");
    }
    context.Out().Tell(L"The report is in " + path + L".", {{"file", TextValue(path)}});
    return ExitCode::Done;
}

}  // namespace

void AddBootNoun(CLI::App& app, Verbs& verbs) {
    CLI::App& noun = *app.add_subcommand("boot", "Tells what the machine's last boot cost.");
    noun.require_subcommand(0, 1);
    CLI::App* const time = verbs.Add(noun, "time", "Tells how long it took.", "boot time --wait", &Time);
    CLI::App* const impact = verbs.Add(noun, "impact", "Lists the processes with what each of them cost.",
                                       "boot impact --sort read --top 10", &Impact);
    CLI::App* const disk =
        verbs.Add(noun, "disk", "Tells how busy the disks were right after it.", "boot disk", &Disk);
    CLI::App* const report =
        verbs.Add(noun, "report", "Writes a page about it, for a browser.", "boot report boot.html", &Report);
    for (CLI::App* verb : {time, impact, disk, report})
        verb->add_flag("--wait")->description("wait for the end of a measurement that still goes on");
    impact->add_option("--sort", "cpu, kernel, user, read, written, other, name or pid; cpu without this")
        ->type_name("ORDER");
    impact->add_option("--top", "the first N of them only")->type_name("N")->check(CLI::Range(1, 1000000));
    report->add_option("FILE", "the page; a file that is there is replaced")->required();
}

}  // namespace ctl
