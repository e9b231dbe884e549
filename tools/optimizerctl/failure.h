#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "tools/optimizerctl/exit_codes.h"

namespace ctl {

/// Ends a verb. Caught where the command line is run, which prints it.
class Failure final : public std::exception {
public:
    /// `code` is the engine's or the system's, 0 when there is none.
    Failure(ExitCode exit, uint32_t code, std::wstring sentence);

    ExitCode Exit() const { return m_exit; }
    uint32_t Code() const { return m_code; }
    const std::wstring& Sentence() const { return m_sentence; }
    const char* what() const noexcept override { return "a verb failed"; }

private:
    ExitCode m_exit;
    uint32_t m_code;
    std::wstring m_sentence;
};

/// A wrong argument.
Failure WrongUse(const std::wstring& sentence);

/// Nothing answers. `reason` is the middle of the sentence.
Failure Unreachable(uint32_t code, const std::wstring& reason);

/// A request gave a code: tells an engine that says no from a connection that broke and from one that gives
/// no answer in time. `what` is the sentence without its reason.
Failure RequestFailed(const std::wstring& what, uint32_t code);

/// For a request that has no business failing otherwise.
void Require(uint32_t code, const std::wstring& what);

}  // namespace ctl
