#include "plugins/http_exchange.h"

#include <array>
#include <memory>
#include <optional>
#include <utility>

#include <windows.h>

#include <winhttp.h>

#include "frame/handles.h"
#include "frame/slim_lock.h"
#include "frame/text.h"

namespace host {

namespace {

using optimizer::CSignal;
using optimizer::CSlimLock;

constexpr size_t kLargestAnswerBytes = size_t{1024} * 1024;
constexpr wchar_t kHeaders[] = L"Content-Type: application/json; charset=utf-8\r\n";

struct HttpHandleTraits {
    using Type = HINTERNET;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type handle) { WinHttpCloseHandle(handle); }
};
using HttpHandle = optimizer::UniqueHandle<HttpHandleTraits>;

/// What the system calls back into; kept until it says that it has closed the request, which may be after
/// the asker has gone.
class Completion {
public:
    /// From here on the system owns a share of it.
    static DWORD Attach(HINTERNET request, const std::shared_ptr<Completion>& completion) {
        auto context = reinterpret_cast<DWORD_PTR>(completion.get());
        if (!WinHttpSetOption(request, WINHTTP_OPTION_CONTEXT_VALUE, &context, sizeof(context)))
            return GetLastError();
        completion->m_self = completion;
        const auto previous = WinHttpSetStatusCallback(
            request, &_Receive, WINHTTP_CALLBACK_FLAG_ALL_COMPLETIONS | WINHTTP_CALLBACK_FLAG_HANDLES, 0);
        if (previous != WINHTTP_INVALID_STATUS_CALLBACK) return ERROR_SUCCESS;
        const DWORD error = GetLastError();
        completion->_Detach();
        return error;
    }

    /// Before each step.
    void Expect() {
        const optimizer::LockGuard guard(m_lock);
        m_done = false;
    }

    /// Waits for the end of the step: 0 with the number of bytes, or an error.
    DWORD Await(ULONGLONG deadline, DWORD& sizeBytes) {
        const optimizer::LockGuard guard(m_lock);
        while (!m_done) {
            const ULONGLONG now = GetTickCount64();
            if (now >= deadline) return ERROR_WINHTTP_TIMEOUT;
            m_changed.Wait(m_lock, static_cast<DWORD>(deadline - now));
        }
        sizeBytes = m_sizeBytes;
        return m_error;
    }

    std::string body;  // the system reads from here
    std::array<char, 8192> buffer = {};

private:
    static void CALLBACK _Receive(HINTERNET, DWORD_PTR context, DWORD event, void* information,
                                  DWORD length) noexcept {
        auto* const completion = reinterpret_cast<Completion*>(context);
        if (completion == nullptr) return;
        switch (event) {
            case WINHTTP_CALLBACK_STATUS_SENDREQUEST_COMPLETE:
            case WINHTTP_CALLBACK_STATUS_HEADERS_AVAILABLE:
                completion->_Finish(ERROR_SUCCESS, 0);
                break;
            case WINHTTP_CALLBACK_STATUS_READ_COMPLETE:
                completion->_Finish(ERROR_SUCCESS, length);
                break;
            case WINHTTP_CALLBACK_STATUS_REQUEST_ERROR:
                completion->_Finish(static_cast<WINHTTP_ASYNC_RESULT*>(information)->dwError, 0);
                break;
            case WINHTTP_CALLBACK_STATUS_HANDLE_CLOSING:
                completion->_Detach();
                break;
            default:
                break;
        }
    }

    void _Finish(DWORD error, DWORD sizeBytes) {
        const optimizer::LockGuard guard(m_lock);
        m_done = true;
        m_error = error;
        m_sizeBytes = sizeBytes;
        m_changed.WakeAll();
    }

    /// May end this object.
    void _Detach() { std::exchange(m_self, nullptr).reset(); }

    CSlimLock m_lock;
    CSignal m_changed;
    bool m_done GUARDED_BY(m_lock) = false;
    DWORD m_error GUARDED_BY(m_lock) = 0;
    DWORD m_sizeBytes GUARDED_BY(m_lock) = 0;
    std::shared_ptr<Completion> m_self;
};

/// One exchange, step by step, on the asker's thread.
class Exchange {
public:
    Exchange(const ServerAddress& server, const HttpQuestion& question)
        : m_server(server), m_question(question), m_deadline(GetTickCount64() + question.timeoutMs) {
        m_completion->body = question.body;
    }

    DWORD Perform(HttpAnswer& answer) {
        DWORD error = _Open();
        if (error == ERROR_SUCCESS) error = _Send();
        if (error != ERROR_SUCCESS) return error;
        const std::optional<uint32_t> status = _QueryNumber(WINHTTP_QUERY_STATUS_CODE);
        if (!status) return ERROR_WINHTTP_INVALID_SERVER_RESPONSE;
        answer.status = *status;
        return IsSuccess(*status) ? _ReadParts(answer.parts) : ERROR_SUCCESS;
    }

private:
    /// Begins a step by `call` and waits for its end.
    template <class Call>
    DWORD _Step(Call call, DWORD& sizeBytes) {
        m_completion->Expect();
        if (!call()) return GetLastError();
        return m_completion->Await(m_deadline, sizeBytes);
    }
    template <class Call>
    DWORD _Step(Call call) {
        DWORD unused = 0;
        return _Step(call, unused);
    }

    DWORD _Open() {
        // A proxy is never the way to this machine itself.
        const DWORD access =
            m_server.isThisMachine ? WINHTTP_ACCESS_TYPE_NO_PROXY : WINHTTP_ACCESS_TYPE_DEFAULT_PROXY;
        m_session.Reset(WinHttpOpen(L"Optimizer", access, nullptr, nullptr, WINHTTP_FLAG_ASYNC));
        if (!m_session) return GetLastError();
        // Each step has the whole time; that all of them together have no more is Await's doing.
        const int timeout = static_cast<int>(m_question.timeoutMs);
        if (!WinHttpSetTimeouts(m_session.Get(), timeout, timeout, timeout, timeout)) return GetLastError();
        m_connection.Reset(WinHttpConnect(m_session.Get(), m_server.name.c_str(), m_server.port, 0));
        if (!m_connection) return GetLastError();
        const std::wstring path = m_server.path + optimizer::Widen(m_question.path);
        m_request.Reset(WinHttpOpenRequest(m_connection.Get(), L"POST", path.c_str(), nullptr, nullptr,
                                           WINHTTP_DEFAULT_ACCEPT_TYPES,
                                           m_server.isSecure ? WINHTTP_FLAG_SECURE : 0));
        if (!m_request) return GetLastError();
        DWORD off = WINHTTP_DISABLE_REDIRECTS | WINHTTP_DISABLE_COOKIES | WINHTTP_DISABLE_AUTHENTICATION;
        if (!WinHttpSetOption(m_request.Get(), WINHTTP_OPTION_DISABLE_FEATURE, &off, sizeof(off)))
            return GetLastError();
        return Completion::Attach(m_request.Get(), m_completion);
    }

    DWORD _Send() {
        std::string& body = m_completion->body;
        const auto size = static_cast<DWORD>(body.size());
        const DWORD error = _Step([&] {
            return WinHttpSendRequest(m_request.Get(), kHeaders, ~DWORD{0}, body.data(), size, size,
                                      reinterpret_cast<DWORD_PTR>(m_completion.get()));
        });
        if (error != ERROR_SUCCESS) return error;
        return _Step([&] { return WinHttpReceiveResponse(m_request.Get(), nullptr); });
    }

    std::optional<uint32_t> _QueryNumber(DWORD what) const {
        DWORD number = 0;
        DWORD size = sizeof(number);
        if (!WinHttpQueryHeaders(m_request.Get(), what | WINHTTP_QUERY_FLAG_NUMBER,
                                 WINHTTP_HEADER_NAME_BY_INDEX, &number, &size, WINHTTP_NO_HEADER_INDEX)) {
            return std::nullopt;
        }
        return number;
    }

    DWORD _ReadParts(std::vector<std::string>& parts) {
        // Absent from an answer that tells its end by itself.
        const std::optional<uint32_t> promised = _QueryNumber(WINHTTP_QUERY_CONTENT_LENGTH);
        auto& buffer = m_completion->buffer;
        size_t total = 0;
        for (;;) {
            DWORD sizeBytes = 0;
            const DWORD error = _Step(
                [&] {
                    return WinHttpReadData(m_request.Get(), buffer.data(), static_cast<DWORD>(buffer.size()),
                                           nullptr);
                },
                sizeBytes);
            if (error != ERROR_SUCCESS) return error;
            if (sizeBytes == 0) {
                return promised.value_or(total) == total ? ERROR_SUCCESS : ERROR_WINHTTP_CONNECTION_ERROR;
            }
            total += sizeBytes;
            if (total > kLargestAnswerBytes) return ERROR_FILE_TOO_LARGE;
            parts.emplace_back(buffer.data(), sizeBytes);
        }
    }

    const ServerAddress& m_server;
    const HttpQuestion& m_question;
    const ULONGLONG m_deadline;
    const std::shared_ptr<Completion> m_completion = std::make_shared<Completion>();
    // In the order of their making; they end the other way round.
    HttpHandle m_session;
    HttpHandle m_connection;
    HttpHandle m_request;
};

/// A thread of the system's may be inside this code after an exchange is over, and nothing tells when it has
/// left: the library stays in the process.
bool KeepLibrary() {
    HMODULE kept = nullptr;
    return GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_PIN,
                              reinterpret_cast<const wchar_t*>(&KeepLibrary), &kept);
}

}  // namespace

uint32_t PerformExchange(const ServerAddress& server, const HttpQuestion& question, HttpAnswer& answer) {
    if (!KeepLibrary()) return GetLastError();
    return Exchange(server, question).Perform(answer);
}

}  // namespace host
