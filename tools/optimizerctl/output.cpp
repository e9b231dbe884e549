#include "tools/optimizerctl/output.h"

#include <algorithm>
#include <utility>

#include "frame/text.h"

namespace ctl {

namespace {

size_t Fill(const std::wstring& text, size_t width) {
    return std::max<size_t>(width - std::min(width, text.size()), 2);
}

}  // namespace

void Output::SetForm(bool json, bool quiet) {
    m_json = json;
    m_quiet = quiet;
}

bool Output::Tell(const std::wstring& text, const picojson::object& document) {
    return m_quiet || TellAlways(text, document);
}

bool Output::TellAlways(const std::wstring& text, const picojson::object& document) {
    const optimizer::CriticalSectionGuard guard(m_lock);
    if (m_ended) return true;
    return m_terminal.PrintLine(m_json ? optimizer::Widen(picojson::value(document).serialize()) : text);
}

void Output::TellWithProblems(const std::vector<std::wstring>& sentences, const std::wstring& text,
                              const picojson::object& document) {
    if (m_json) {
        TellAlways(text, document);
        return;
    }
    for (const std::wstring& sentence : sentences)
        Warn(sentence);
    Tell(text, document);
}

void Output::Warn(const std::wstring& sentence) {
    const optimizer::CriticalSectionGuard guard(m_lock);
    if (m_ended) return;
    m_terminal.ShowProgress(L"");
    m_terminal.PrintErrorLine(sentence);
}

void Output::Note(const std::wstring& line) {
    const optimizer::CriticalSectionGuard guard(m_lock);
    if (!m_ended && !m_quiet) m_terminal.PrintErrorLine(line);
}

void Output::ShowProgress(const std::wstring& text) {
    const optimizer::CriticalSectionGuard guard(m_lock);
    if (!m_ended && !m_quiet && !m_json) m_terminal.ShowProgress(text);
}

ExitCode Output::Fail(const Failure& failure) {
    const optimizer::CriticalSectionGuard guard(m_lock);
    if (std::exchange(m_ended, true)) return failure.Exit();
    m_terminal.ShowProgress(L"");
    if (m_json) {
        const picojson::object error{{"code", NumberValue(failure.Code())},
                                     {"exit", NumberValue(static_cast<uint64_t>(failure.Exit()))},
                                     {"text", TextValue(failure.Sentence())}};
        const picojson::object document{{"error", picojson::value(error)}};
        m_terminal.PrintLine(optimizer::Widen(picojson::value(document).serialize()));
    } else {
        m_terminal.PrintErrorLine(failure.Sentence());
    }
    return failure.Exit();
}

picojson::value TextValue(const std::wstring& text) {
    return picojson::value(optimizer::Narrow(text));
}

picojson::value NumberValue(uint64_t number) {
    return picojson::value(static_cast<double>(number));
}

picojson::value SignedValue(int64_t number) {
    return picojson::value(static_cast<double>(number));
}

std::wstring Column(const std::wstring& text, size_t width) {
    return text + std::wstring(Fill(text, width), L' ');
}

std::wstring RightColumn(const std::wstring& text, size_t width) {
    return std::wstring(Fill(text, width), L' ') + text;
}

}  // namespace ctl
