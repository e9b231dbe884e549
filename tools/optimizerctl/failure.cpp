#include "tools/optimizerctl/failure.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include <windows.h>

#include "frame/text.h"

namespace ctl {

namespace {

/// What a pipe gives whose other end went away.
constexpr uint32_t kBrokenConnection[] = {
    ERROR_INVALID_HANDLE, ERROR_BROKEN_PIPE,        ERROR_NO_DATA, ERROR_PIPE_NOT_CONNECTED, ERROR_BAD_PIPE,
    ERROR_NOT_CONNECTED,  ERROR_CONNECTION_ABORTED,
};
constexpr uint32_t kTooLate[] = {WAIT_TIMEOUT, ERROR_SEM_TIMEOUT, ERROR_TIMEOUT};

template <size_t Count>
bool Contains(const uint32_t (&codes)[Count], uint32_t code) {
    return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
}

}  // namespace

Failure::Failure(ExitCode exit, uint32_t code, std::wstring sentence)
    : m_exit(exit), m_code(code), m_sentence(std::move(sentence)) {}

Failure WrongUse(const std::wstring& sentence) {
    return {ExitCode::Usage, 0, sentence};
}

Failure Unreachable(uint32_t code, const std::wstring& reason) {
    return {ExitCode::NoService, code,
            L"The service can't be reached: " + reason +
                L"; start it with \"sc start OptimizerHost\", or run \"optimizerhost console\"."};
}

Failure RequestFailed(const std::wstring& what, uint32_t code) {
    const std::wstring reason = optimizer::SystemErrorText(code);
    if (Contains(kBrokenConnection, code)) return Unreachable(code, L"it went away, " + reason);
    const bool late = Contains(kTooLate, code);
    return {late ? ExitCode::TimedOut : ExitCode::Refused, code, what + L": " + reason + L"."};
}

void Require(uint32_t code, const std::wstring& what) {
    if (code != ERROR_SUCCESS) throw RequestFailed(what, code);
}

}  // namespace ctl
