#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace test_support {

/// Collects texts from other threads.
class Inbox {
public:
    void Add(const std::wstring& text) {
        const std::lock_guard guard(m_lock);
        m_texts.push_back(text);
        m_news.notify_all();
    }
    /// What came, once there are as many as wanted or ten seconds are over.
    std::vector<std::wstring> Take(size_t count) {
        std::unique_lock lock(m_lock);
        m_news.wait_for(lock, std::chrono::seconds(10), [&] { return m_texts.size() >= count; });
        return std::exchange(m_texts, {});
    }

private:
    std::mutex m_lock;
    std::condition_variable m_news;
    std::vector<std::wstring> m_texts;
};

}  // namespace test_support
