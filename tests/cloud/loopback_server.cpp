#include "tests/cloud/loopback_server.h"

#include <chrono>
#include <stdexcept>

namespace test_support {

namespace {

/// Whether there is something to read, a connection or an end among it, within the time.
bool IsReadable(SOCKET socket, long timeoutMs) {
    fd_set set = {1, {socket}};
    timeval time = {0, timeoutMs * 1000};
    return select(0, &set, nullptr, nullptr, &time) == 1;
}

void Send(SOCKET client, const std::string& text) {
    send(client, text.data(), static_cast<int>(text.size()), 0);
}

}  // namespace

LoopbackServer::LoopbackServer() : m_answer(Answered("200 OK", "")) {
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
    m_thread = std::thread([this] { _Serve(); });
}

LoopbackServer::~LoopbackServer() {
    shutdown(m_listener, SD_BOTH);
    closesocket(m_listener);
    m_thread.join();
    WSACleanup();
}

void LoopbackServer::Treat(Way way, const std::string& answer) {
    const std::lock_guard guard(m_lock);
    m_way = way;
    m_answer = answer;
}

std::vector<LoopbackServer::Request> LoopbackServer::WaitFor(size_t count) {
    std::unique_lock lock(m_lock);
    m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_requests.size() >= count; });
    return m_requests;
}

bool LoopbackServer::HadTwoAtOnce() {
    const std::lock_guard guard(m_lock);
    return m_twoAtOnce;
}

void LoopbackServer::_Serve() {
    for (;;) {
        const SOCKET client = accept(m_listener, nullptr, nullptr);
        if (client == INVALID_SOCKET) return;
        _Treat(client);
        closesocket(client);
    }
}

LoopbackServer::Request LoopbackServer::_Read(SOCKET client) {
    std::string text;
    size_t head = std::string::npos;
    size_t bodySize = 0;
    char buffer[4096];
    while (head == std::string::npos || text.size() < head + bodySize) {
        const int got = recv(client, buffer, sizeof(buffer), 0);
        if (got <= 0) break;
        text.append(buffer, static_cast<size_t>(got));
        head = text.find("\r\n\r\n");
        if (head == std::string::npos) continue;
        head += 4;
        bodySize = std::stoul(text.substr(text.find("Content-Length: ") + 16));
    }
    return {text.substr(0, text.find('\r')), text.substr(std::min(head, text.size()))};
}

void LoopbackServer::_Treat(SOCKET client) {
    const Request request = _Read(client);
    std::unique_lock lock(m_lock);
    m_requests.push_back(request);
    m_changed.notify_all();
    const Way way = m_way;
    const std::string answer = m_answer;
    lock.unlock();
    constexpr long kLookMs = 20;  // for another connection, or for the client's end
    constexpr int kMostLooks = 100;
    if (IsReadable(m_listener, kLookMs)) {
        lock.lock();
        m_twoAtOnce = true;
        lock.unlock();
    }
    if (way == Way::Answer) Send(client, answer);
    if (way == Way::HangUpHalf) Send(client, answer.substr(0, answer.size() / 2));
    if (way != Way::Silent && way != Way::Drip) return;
    for (size_t i = 0; i < kMostLooks && !IsReadable(client, kLookMs); ++i) {
        if (way == Way::Drip && i + 1 < answer.size()) Send(client, answer.substr(i, 1));
    }
}

}  // namespace test_support
