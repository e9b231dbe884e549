#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include <windows.h>

#include "connector/wire_frame.h"
#include "frame/handles.h"

namespace host {

/// Reads frames from a message pipe. One thread reads; Wake and Stop are for the others.
///
/// A frame is checked before it is handed out. Room for a large one is taken only when all its bytes have
/// arrived in the pipe, and given back at the next.
class CFrameReader {
public:
    enum class Event {
        Frame,  // Header and Bytes tell it
        Woken,
        Unsound,  // something came that isn't a frame; final
        End,      // the pipe ended, or Stop was called; final
    };

    CFrameReader() = default;
    CFrameReader(const CFrameReader&) = delete;
    CFrameReader& operator=(const CFrameReader&) = delete;

    /// `pipe` is overlapped, reads by message, and outlives the reader. 0 or the system's error. Throws
    /// std::bad_alloc.
    [[nodiscard]] uint32_t Open(HANDLE pipe);
    /// Blocks for the next event. Throws std::bad_alloc.
    Event Next();
    /// Calls a read that is under way off: after the last Next, before the pipe is closed.
    void Abandon();
    /// Makes Next return Woken, once.
    void Wake();
    /// Makes Next return End from now on.
    void Stop();

    const FrameHeader& Header() const { return m_header; }
    /// The frame from its header on, aligned for any type; the reader's thread may write to it.
    uint8_t* Bytes() const { return m_large ? m_large.get() : m_small.get(); }

private:
    bool _Begin(uint8_t* to, uint32_t roomBytes);
    bool _Await(bool untilWoken);
    Event _TakeFrame();
    bool _ReadRest(uint32_t gotBytes);

    HANDLE m_pipe = nullptr;
    optimizer::KernelHandle m_arrived;
    optimizer::KernelHandle m_roused;  // Wake or Stop was called
    std::atomic<bool> m_woken = false;
    std::atomic<bool> m_stopped = false;
    OVERLAPPED m_overlapped = {};
    bool m_pending = false;  // a read is under way
    std::unique_ptr<uint8_t[]> m_small;
    std::unique_ptr<uint8_t[]> m_large;  // for a frame that doesn't fit in m_small
    FrameHeader m_header;
};

}  // namespace host
