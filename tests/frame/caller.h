#pragma once

#include <thread>

#include "frame/handles.h"

namespace frame_test {

/// A thread that runs one blocking call and says when it is through.
class Caller {
public:
    template <class Call>
    explicit Caller(Call call)
        : m_done(CreateEventW(nullptr, TRUE, FALSE, nullptr)), m_thread([this, call] {
              call();
              SetEvent(m_done.Get());
          }) {}
    ~Caller() { m_thread.join(); }
    Caller(const Caller&) = delete;
    Caller& operator=(const Caller&) = delete;

    bool Finishes() const { return WaitForSingleObject(m_done.Get(), kPatienceMs) == WAIT_OBJECT_0; }
    bool IsBlocked() const { return WaitForSingleObject(m_done.Get(), 50) == WAIT_TIMEOUT; }

private:
    static constexpr DWORD kPatienceMs = 10000;

    optimizer::KernelHandle m_done;
    std::thread m_thread;
};

}  // namespace frame_test
