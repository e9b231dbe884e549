#include "host/run_problems/run_problems.h"

#include <algorithm>
#include <utility>

#include <windows.h>

#include "border/run_report.h"
#include "frame/errors.h"
#include "frame/json.h"
#include "frame/text.h"
#include "frame/vx_string.h"
#include "host/settings_check/settings_check.h"

namespace host {

namespace {

using optimizer::json::Find;
using optimizer::json::ToText;

constexpr const wchar_t* kNotBack =
    L"{action} is not back: {reason}; what to return to stays noted, choose Disabled to try it again.";
constexpr const wchar_t* kNoAgentAnswered =
    L"{action} is not back, since no agent in the session answered; start one with \"optimizeragent run\" "
    L"and choose Disabled to try it again.";
constexpr const wchar_t* kNoAgentReached =
    L"{action} is not back, since this engine, without a service, reaches no agent; choose Disabled through "
    L"the service or \"optimizerhost console\".";
constexpr const wchar_t* kEffects = L"VisualFX";

struct Words {
    const char* step;
    uint32_t code;          // 0 for any other
    const wchar_t* action;  // null for any
    const wchar_t* sentence;
};

/// The first row that fits counts. What stands in braces is replaced: {action}, {profile}, {file} and
/// {folder} of the notes, {reason} of the system.
constexpr Words kWords[] = {
    {"note", ERROR_INVALID_PARAMETER, kEffects,
     L"{action} was left as it was, since this engine, without a service, reaches no agent to tell what "
     L"there is to return to; choose {profile} through the service or \"optimizerhost console\"."},
    {"note", 0, kEffects,
     L"{action} was left as it was, since no agent in the session told what there is to return to: {reason}; "
     L"start one with \"optimizeragent run\" and choose the profile anew."},
    {"note", 0, nullptr,
     L"{action} was left as it was, since what there is to return to can't be told: {reason}; where this "
     L"machine has nothing of the kind, keep it out with \"optimizerctl config disable {profile} "
     L"{action}\"."},
    {"store", ERROR_LOCK_VIOLATION, nullptr,
     L"{action} was not changed, since its note has no place while the notes of before can't be read; see to "
     L"those, then choose the profile anew."},
    {"store", ERROR_FILE_CORRUPT, nullptr,
     L"{action} was not changed, since its note has no place beside damaged ones; see to those, then choose "
     L"the profile anew."},
    {"store", ERROR_DISK_FULL, nullptr,
     L"{action} was not changed, since its note can't be stored: {reason}; make room on the disk of "
     L"{folder}, "
     L"then choose the profile anew."},
    {"store", ERROR_NO_SUCH_USER, nullptr,
     L"{action} was not changed, since its note is a user's and nobody is logged on; choose the profile anew "
     L"after the logon."},
    {"store", 0, nullptr,
     L"{action} was not changed, since its note can't be stored: {reason}; see that the engine can write in "
     L"{folder}, then choose the profile anew."},
    {"revert", ERROR_INVALID_PARAMETER, kEffects, kNoAgentReached},
    {"revert", ERROR_NOT_FOUND, kEffects, kNoAgentAnswered},
    {"revert", ERROR_TIMEOUT, kEffects, kNoAgentAnswered},
    {"revert", 0, nullptr, kNotBack},
    {"putBack", ERROR_INVALID_PARAMETER, kEffects, kNoAgentReached},
    {"putBack", ERROR_NOT_FOUND, kEffects, kNoAgentAnswered},
    {"putBack", ERROR_TIMEOUT, kEffects, kNoAgentAnswered},
    {"putBack", ERROR_NOT_FOUND, nullptr,
     L"{action} is noted in {file}, and this engine has no such action to put it back with; use the version "
     L"that noted it, or take the entry out, and \"notes_check\" with it."},
    {"putBack", 0, nullptr, kNotBack},
    {"erase", 0, nullptr,
     L"{action} is back, but its note can't be removed: {reason}; see that nobody holds the files in "
     L"{folder} "
     L"and choose Disabled to try it again."},
    {"read", ERROR_LOCK_VIOLATION, nullptr,
     L"The notes in {file} can't be read, so that nothing of them was put back: end the program that holds "
     L"the file, then choose the profile anew."},
    {"read", 0, nullptr,
     L"The notes in {file} can't be read, so that nothing of them was put back: {reason}."},
    {"another", 0, nullptr,
     L"{action} is noted in {file} for another user and stays as it is until that user is at the console."},
    {"choice", 0, nullptr,
     L"The choice of {profile} can't be stored, so that the next start goes by the one before: {reason}; see "
     L"that the engine can write in {folder}, then choose it anew."},
    {"list", 0, nullptr,
     L"The actions of {profile} can't be read from {folder}profiles.json, so that none of them runs: "
     L"{reason}; correct the file or install the one that came with the program."},
    {"stopped", 0, nullptr,
     L"The actions of {profile} were cut short; choose the profile anew to have the rest done."},
};

constexpr const wchar_t* kOtherStep = L"{action} was not done to its end: {reason}.";

const wchar_t* SentenceFor(const RunProblem& problem) {
    for (const Words& words : kWords) {
        const bool fits = problem.step == words.step && (words.code == 0 || words.code == problem.code) &&
                          (words.action == nullptr || words.action == problem.action);
        if (fits) return words.sentence;
    }
    return kOtherStep;
}

std::wstring Filled(std::wstring text, const std::wstring& name, const std::wstring& value) {
    for (size_t at = 0; (at = text.find(name, at)) != std::wstring::npos; at += value.size())
        text.replace(at, name.size(), value);
    return text;
}

/// The engine gives 31 where the system gave it nothing, and the system's own text for that is of a device.
std::wstring ReasonOf(uint32_t code) {
    return code == ERROR_GEN_FAILURE ? L"the system doesn't tell why (31)" : optimizer::SystemErrorText(code);
}

std::wstring TextOf(const picojson::value& value, const char* key) {
    return optimizer::Widen(ToText(Find(value, key)).value_or(""));
}

std::optional<LastRun> FromJson(const std::wstring& text) {
    picojson::value report;
    std::string error;
    if (!optimizer::json::Parse(optimizer::Narrow(text), report, error)) return std::nullopt;
    LastRun run;
    run.profile = TextOf(report, "profile");
    run.running = optimizer::json::ToBool(Find(report, "running")).value_or(false);
    const bool isStopped = optimizer::json::ToBool(Find(report, "stopped")).value_or(false);
    if (isStopped && !run.running) run.problems.push_back({"stopped", L"", L"", ERROR_CANCELLED});
    const picojson::value* const problems = Find(report, "problems");
    if (problems == nullptr || !problems->is<picojson::array>()) return std::nullopt;
    for (const picojson::value& problem : problems->get<picojson::array>()) {
        run.problems.push_back({ToText(Find(problem, "step")).value_or(""), TextOf(problem, "action"),
                                TextOf(problem, "notes"),
                                optimizer::json::ToUint32(Find(problem, "code")).value_or(0)});
    }
    return run;
}

}  // namespace

bool LastRun::HasSerious() const {
    return std::any_of(problems.begin(), problems.end(),
                       [](const RunProblem& problem) { return problem.IsSerious(); });
}

uint32_t AskLastRun(IOptimizer& engine, std::optional<LastRun>& run) {
    run.reset();
    void* const report = engine.QueryInterface(&IRunReport::kIdentifier);
    if (report == nullptr) return ERROR_SUCCESS;
    vx::String text;
    const uint32_t error = static_cast<IRunReport*>(report)->GetLastRun(&text);
    if (error == optimizer::kErrorNoInterface) return ERROR_SUCCESS;  // the engine behind the client is older
    if (error != ERROR_SUCCESS) return error;
    run = FromJson(text.Text());
    return ERROR_SUCCESS;
}

std::wstring SentenceOf(const RunProblem& problem, const LastRun& run, const std::wstring& folder) {
    const std::wstring file = problem.notes.empty() ? folder : folder + RestoreFileName(problem.notes);
    if (problem.step == "read" && problem.code == ERROR_FILE_CORRUPT) return DamagedNotesSentence(file);
    std::wstring sentence = SentenceFor(problem);
    const std::pair<const wchar_t*, std::wstring> values[] = {{L"{action}", problem.action},
                                                              {L"{profile}", run.profile},
                                                              {L"{file}", file},
                                                              {L"{folder}", folder},
                                                              {L"{reason}", ReasonOf(problem.code)}};
    for (const auto& [name, value] : values)
        sentence = Filled(std::move(sentence), name, value);
    return sentence;
}

std::vector<std::wstring> SentencesOf(const LastRun& run, const std::wstring& folder) {
    std::vector<std::wstring> sentences;
    for (const RunProblem& problem : run.problems)
        sentences.push_back(SentenceOf(problem, run, folder));
    return sentences;
}

}  // namespace host
