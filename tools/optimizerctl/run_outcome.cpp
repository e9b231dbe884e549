#include "tools/optimizerctl/run_outcome.h"

#include <algorithm>

#include "tools/optimizerctl/names.h"

namespace ctl {

namespace {

using host::LastRun;

/// Whether what failed is no more than the writing down of what was done.
bool IsOnlyUnwritten(const LastRun& run) {
    return std::all_of(run.problems.begin(), run.problems.end(), [](const host::RunProblem& problem) {
        return !problem.IsSerious() || problem.step == "erase" || problem.step == "choice";
    });
}

/// The end of the sentence that says how far the run came.
std::wstring HowFar(const LastRun& run) {
    if (!run.HasSerious()) return L"; what is told here was left out.";
    if (IsOnlyUnwritten(run)) return L"; everything was done, but not all of it is stored.";
    if (run.profile == NameOf(optimizer::profiles::profile::Disabled))
        return L", but not everything is back; choose Disabled once more to try it again.";
    return L", but not everything was done; choose Disabled and then " + run.profile + L" to try it again.";
}

}  // namespace

ExitCode TellOutcome(Context& context, const RunTexts& texts, picojson::object document,
                     const std::optional<LastRun>& run) {
    context.Out().ShowProgress(L"");
    if (!run) {
        context.Out().Tell(texts.done, document);
        return ExitCode::Done;
    }
    const std::wstring folder = context.Machine().SettingsFolder();
    document["problems"] = ProblemsDocument(*run, folder);
    if (run->problems.empty()) {
        context.Out().Tell(texts.done, document);
        return ExitCode::Done;
    }
    context.Out().TellWithProblems(host::SentencesOf(*run, folder), texts.begin + HowFar(*run), document);
    return run->HasSerious() ? ExitCode::Refused : ExitCode::Done;
}

picojson::value ProblemsDocument(const LastRun& run, const std::wstring& folder) {
    picojson::array problems;
    for (const host::RunProblem& problem : run.problems) {
        problems.emplace_back(picojson::object{{"action", TextValue(problem.action)},
                                               {"code", NumberValue(problem.code)},
                                               {"notes", TextValue(problem.notes)},
                                               {"step", picojson::value(problem.step)},
                                               {"text", TextValue(SentenceOf(problem, run, folder))}});
    }
    return picojson::value(problems);
}

}  // namespace ctl
