#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <winsock2.h>

namespace test_support {

/// An HTTP server on the loopback address, which treats its requests as the test says, one after the other.
class LoopbackServer {
public:
    enum class Way {
        Answer,      // with `answer`, sent as it is
        HangUp,      // without a word
        HangUpHalf,  // in the middle of the answer
        Silent,      // until the client goes
        Drip,        // the answer's bytes, slowly, and its last one never
    };
    struct Request {
        std::string line;
        std::string body;
    };

    LoopbackServer();
    ~LoopbackServer();
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    static std::string Answered(const std::string& status, const std::string& text,
                                const std::string& headers = "") {
        return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(text.size()) + "\r\n" +
               headers + "\r\n" + text;
    }

    /// How the requests from now on are treated.
    void Treat(Way way, const std::string& answer);
    /// The requests so far, as soon as there are `count` of them; after ten seconds as many as there are.
    std::vector<Request> WaitFor(size_t count);
    /// Whether a request ever came while another one was being answered.
    bool HadTwoAtOnce();
    std::wstring Address() const { return L"http://127.0.0.1:" + std::to_wstring(m_port) + L"/base"; }

private:
    void _Serve();
    void _Treat(SOCKET client);
    static Request _Read(SOCKET client);

    SOCKET m_listener = INVALID_SOCKET;
    int m_port = 0;
    std::mutex m_lock;
    std::condition_variable m_changed;
    Way m_way = Way::Answer;          // guarded by m_lock
    std::string m_answer;             // guarded by m_lock
    std::vector<Request> m_requests;  // guarded by m_lock
    bool m_twoAtOnce = false;         // guarded by m_lock
    std::thread m_thread;
};

}  // namespace test_support
