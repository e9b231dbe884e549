// What the engine's last run didn't get done, in the words that the command line and the console share.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "border/optimizer.h"

namespace host {

/// One thing that wasn't done, as IRunReport tells it. A run that was cut short counts as one too, with the
/// step "stopped".
struct RunProblem {
    std::string step;
    std::wstring action;
    std::wstring notes;  // whose: "system" or a user's key
    uint32_t code = 0;

    /// Whether somebody has to see to it. An action that left the machine as it was, since this machine has
    /// nothing for it to return to, is told and no more.
    bool IsSerious() const { return step != "note"; }
};

struct LastRun {
    std::wstring profile;  // the name of what was to be carried out
    bool running = false;
    std::vector<RunProblem> problems;

    bool HasSerious() const;
};

/// Asks the engine. 0, with nothing in `run` when the engine is one of before, which keeps no report, or has
/// written one that can't be read; or the error of the question.
[[nodiscard]] uint32_t AskLastRun(IOptimizer& engine, std::optional<LastRun>& run);

/// The sentence that says what wasn't done and what to do. `folder` is the settings folder, with the last
/// back-slash.
std::wstring SentenceOf(const RunProblem& problem, const LastRun& run, const std::wstring& folder);
std::vector<std::wstring> SentencesOf(const LastRun& run, const std::wstring& folder);

}  // namespace host
