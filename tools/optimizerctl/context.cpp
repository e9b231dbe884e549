#include "tools/optimizerctl/context.h"

#include <windows.h>

#include <CLI/CLI.hpp>

#include "frame/text.h"

namespace ctl {

Context::Context(const CLI::App& arguments, Surroundings& surroundings, Output& output, bool inProcess,
                 std::optional<uint32_t> timeoutMs)
    : m_arguments(arguments),
      m_surroundings(surroundings),
      m_output(output),
      m_inProcess(inProcess),
      m_timeoutMs(timeoutMs) {}

bool Context::Has(const std::string& name) const {
    return m_arguments.count(name) > 0;
}

std::wstring Context::Argument(const std::string& name) const {
    const CLI::Option* const option = m_arguments.get_option(name);
    return option->count() > 0 ? optimizer::Widen(option->results().front()) : L"";
}

IOptimizer& Context::Engine() {
    m_connecting = true;
    m_engine = &(m_inProcess ? m_surroundings.inProcess : m_surroundings.service).Open(m_timeoutMs);
    m_connecting = false;
    return *m_engine;
}

boottime::IBootTimeCommClient& Context::Boot() {
    if (m_inProcess) throw WrongUse(L"Only the service measures the boot; leave --in-process out.");
    m_connecting = true;
    boottime::IBootTimeCommClient& boot = m_surroundings.boot.Open(m_timeoutMs);
    m_connecting = false;
    return boot;
}

Failure Context::TimeIsUp() const {
    const std::wstring within = L" within " + SecondsText(m_timeoutMs.value_or(0));
    if (m_connecting) return Unreachable(WAIT_TIMEOUT, L"nothing answered" + within);
    return {ExitCode::TimedOut, WAIT_TIMEOUT, L"There was no answer" + within + L"."};
}

std::wstring SecondsText(uint64_t milliseconds) {
    const uint64_t hundredths = (milliseconds + 5) / 10;
    std::wstring text = std::to_wstring(hundredths / 100);
    if (const uint64_t rest = hundredths % 100; rest != 0) {
        text += rest < 10 ? L".0" : L".";
        text += std::to_wstring(rest % 10 == 0 ? rest / 10 : rest);
    }
    return text + L" s";
}

}  // namespace ctl
