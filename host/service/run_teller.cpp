#include "host/service/run_teller.h"

#include <optional>
#include <utility>

#include "frame/guarded.h"
#include "host/run_problems/run_problems.h"
#include "host/settings_check/settings_check.h"
#include "host/terminal/terminal.h"

namespace host {

RunTeller::RunTeller(IOptimizer& engine)
    : m_engine(engine), m_work(CreateThreadpoolWork(&_OnWork, this, nullptr)) {
    m_engine.AddEventsObserver(this);
    // The restore may have ended before anybody listened.
    if (m_work) SubmitThreadpoolWork(m_work.Get());
}

RunTeller::~RunTeller() {
    m_engine.RemoveEventsObserver(this);
    if (m_work) WaitForThreadpoolWorkCallbacks(m_work.Get(), FALSE);
}

/// An engine mustn't be asked from inside its notification.
void RunTeller::OnActionsExecuted(const wchar_t*, const profile*) {
    if (m_work) SubmitThreadpoolWork(m_work.Get());
}

void CALLBACK RunTeller::_OnWork(PTP_CALLBACK_INSTANCE, void* context, PTP_WORK) {
    static_cast<void>(optimizer::Guarded([&] {
        static_cast<RunTeller*>(context)->TellLast();
        return uint32_t{ERROR_SUCCESS};
    }));
}

bool RunTeller::TellLast() {
    const optimizer::CriticalSectionGuard guard(m_lock);
    std::optional<LastRun> run;
    // One that still goes on tells of its end.
    if (AskLastRun(m_engine, run) != ERROR_SUCCESS || !run || run->running) return true;
    std::vector<std::wstring> sentences = SentencesOf(*run, FindSettingsFolder());
    if (sentences != m_told) {
        for (const std::wstring& sentence : sentences)
            PrintErrorLine(sentence);
        m_told = std::move(sentences);
    }
    return !run->HasSerious();
}

}  // namespace host
