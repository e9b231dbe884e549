#pragma once

#include <string>
#include <vector>

#include <picojson.h>

#include "frame/critical_section.h"
#include "tools/optimizerctl/failure.h"
#include "tools/optimizerctl/surroundings.h"

namespace ctl {

/// The one place that knows about --json and --quiet. Any thread.
class Output {
public:
    explicit Output(ITerminal& terminal) : m_terminal(terminal) {}
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    /// Before the first word is said.
    void SetForm(bool json, bool quiet);

    /// What a verb found: the text for people, or the document in one line. False when nobody reads any more.
    bool Tell(const std::wstring& text, const picojson::object& document);
    /// The same for what must be told in any case: a report of something that is wrong.
    bool TellAlways(const std::wstring& text, const picojson::object& document);
    /// The same of something that wasn't done to its end: the sentences that say so on standard error, unless
    /// the document holds them.
    void TellWithProblems(const std::vector<std::wstring>& sentences, const std::wstring& text,
                          const picojson::object& document);
    /// A failure beside what was found, on standard error in any form.
    void Warn(const std::wstring& sentence);
    /// A line for people beside what was found, on standard error.
    void Note(const std::wstring& line);
    void ShowProgress(const std::wstring& text);
    /// Ends the output: nothing is printed after a failure.
    ExitCode Fail(const Failure& failure);

private:
    ITerminal& m_terminal;
    bool m_json = false;
    bool m_quiet = false;
    optimizer::CCriticalSection m_lock;
    bool m_ended GUARDED_BY(m_lock) = false;
};

/// A text as the value of a document.
picojson::value TextValue(const std::wstring& text);
picojson::value NumberValue(uint64_t number);
picojson::value SignedValue(int64_t number);

/// Fills a column of a table: the text and spaces up to the width, at least two.
std::wstring Column(const std::wstring& text, size_t width);
/// The same for a column of numbers: spaces up to the width, at least two, and the text.
std::wstring RightColumn(const std::wstring& text, size_t width);

}  // namespace ctl
