#pragma once

#include <future>

namespace frame_test {

/// A thread that runs one blocking call and says when it is through.
class Caller {
public:
    template <class Call>
    explicit Caller(Call call) : m_done(std::async(std::launch::async, call)) {}

    bool Finishes() const { return _IsDoneWithin(10000); }
    bool IsBlocked() const { return !_IsDoneWithin(50); }

private:
    bool _IsDoneWithin(int milliseconds) const {
        return m_done.wait_for(std::chrono::milliseconds(milliseconds)) == std::future_status::ready;
    }

    std::future<void> m_done;  // waits for the call at its end
};

}  // namespace frame_test
