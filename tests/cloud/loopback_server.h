#pragma once

#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <winsock2.h>

#include "tools/rig/scratch_services.h"

namespace test_support {

/// An HTTP server on the loopback address, which treats its requests as the test says, one after the other.
class LoopbackServer {
public:
    LoopbackServer() {
        WSADATA data;
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        int size = sizeof(address);
        auto* const general = reinterpret_cast<sockaddr*>(&address);
        const bool listens = WSAStartup(MAKEWORD(2, 2), &data) == 0 &&
                             (m_listener = socket(AF_INET, SOCK_STREAM, 0)) != INVALID_SOCKET &&
                             bind(m_listener, general, size) == 0 && listen(m_listener, 8) == 0 &&
                             getsockname(m_listener, general, &size) == 0;
        if (!listens) throw std::runtime_error("there is no loopback address to listen on");
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] {
            for (SOCKET client = 0; (client = accept(m_listener, nullptr, nullptr)) != INVALID_SOCKET;) {
                _Treat(client);
                closesocket(client);
            }
        });
    }
    ~LoopbackServer() {
        shutdown(m_listener, SD_BOTH);
        closesocket(m_listener);
        m_thread.join();
        WSACleanup();
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    static std::string Answered(const std::string& status, const std::string& text) {
        return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(text.size()) + "\r\n\r\n" +
               text;
    }

    /// What the requests from now on get before the connection is closed; a slow server sends it byte by byte
    /// and waits for the client to go.
    void Treat(const std::string& answer, bool isSlow = false) {
        const std::lock_guard guard(m_lock);
        m_answer = answer;
        m_isSlow = isSlow;
    }

    /// The requests so far, as soon as there are `count` of them; after ten seconds as many as there are.
    std::vector<std::string> WaitFor(size_t count) {
        std::vector<std::string> requests;
        rig::WaitUntil([&] {
            const std::lock_guard guard(m_lock);
            requests = m_requests;
            return requests.size() >= count;
        });
        return requests;
    }

    std::wstring Address() const { return L"http://127.0.0.1:" + std::to_wstring(m_port) + L"/base"; }

private:
    /// Whether there is something to read, a connection or an end among it, within a moment.
    static bool _IsReadable(SOCKET socket) {
        fd_set set = {1, {socket}};
        timeval moment = {0, 20000};
        return select(0, &set, nullptr, nullptr, &moment) == 1;
    }

    static std::string _Read(SOCKET client) {
        std::string text;
        size_t wanted = std::string::npos;
        char byte = 0;
        while (text.size() < wanted && recv(client, &byte, 1, 0) == 1) {
            text += byte;
            if (wanted != std::string::npos || !text.ends_with("\r\n\r\n")) continue;
            wanted = text.size() + std::stoul(text.substr(text.find("Content-Length: ") + 16));
        }
        return text;
    }

    void _Treat(SOCKET client) {
        const std::string request = _Read(client);
        const bool anotherCame = _IsReadable(m_listener);
        std::unique_lock lock(m_lock);
        m_requests.push_back(anotherCame ? "another came before this one was answered" : request);
        const std::string answer = m_answer;
        const bool isSlow = m_isSlow;
        lock.unlock();
        if (!isSlow) send(client, answer.data(), static_cast<int>(answer.size()), 0);
        constexpr size_t kMostLooks = 100;  // some seconds
        for (size_t i = 0; isSlow && i < kMostLooks && !_IsReadable(client); ++i) {
            if (i < answer.size()) send(client, &answer[i], 1, 0);
        }
    }

    SOCKET m_listener = INVALID_SOCKET;
    int m_port = 0;
    std::mutex m_lock;  // guards what follows, but for the thread
    std::string m_answer = Answered("200 OK", "");
    bool m_isSlow = false;
    std::vector<std::string> m_requests;
    std::thread m_thread;
};

}  // namespace test_support
