#include "connector/frame_reader.h"

#include <cstring>

namespace host {

namespace {

constexpr uint32_t kSmallBytes = 8192;

/// The lowest bit keeps the completion of the read out of the port that the pipe's writes report to.
HANDLE EventOutsidePort(HANDLE event) {
    return reinterpret_cast<HANDLE>(reinterpret_cast<uintptr_t>(event) | 1);
}

}  // namespace

uint32_t CFrameReader::Open(HANDLE pipe) {
    m_arrived.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    if (!m_arrived) return GetLastError();
    m_roused.Reset(CreateEventW(nullptr, FALSE, FALSE, nullptr));
    if (!m_roused) return GetLastError();
    m_small = std::make_unique_for_overwrite<uint8_t[]>(kSmallBytes);
    m_pipe = pipe;
    return ERROR_SUCCESS;
}

CFrameReader::Event CFrameReader::Next() {
    m_large.reset();
    if (!m_pending && !_Begin(m_small.get(), kSmallBytes)) return Event::End;
    const bool arrived = _Await(true);
    if (m_stopped) return Event::End;
    if (!arrived) return Event::Woken;
    return _TakeFrame();
}

void CFrameReader::Abandon() {
    if (!m_pending) return;
    CancelIoEx(m_pipe, &m_overlapped);
    WaitForSingleObject(m_arrived.Get(), INFINITE);  // the system must be through with the buffers
    m_pending = false;
}

void CFrameReader::Wake() {
    m_woken = true;
    SetEvent(m_roused.Get());
}

void CFrameReader::Stop() {
    m_stopped = true;
    SetEvent(m_roused.Get());
}

bool CFrameReader::_Begin(uint8_t* to, uint32_t roomBytes) {
    m_overlapped = {};
    m_overlapped.hEvent = EventOutsidePort(m_arrived.Get());
    if (ReadFile(m_pipe, to, roomBytes, nullptr, &m_overlapped)) return true;
    const DWORD error = GetLastError();
    m_pending = error == ERROR_IO_PENDING;
    return m_pending || error == ERROR_MORE_DATA;
}

/// Waits for the read under way. False when it goes on: after Stop, or after Wake if that is waited for.
bool CFrameReader::_Await(bool untilWoken) {
    const HANDLE handles[] = {m_roused.Get(), m_arrived.Get()};
    for (;;) {
        if (m_stopped) return false;
        if (!m_pending) return true;  // before Wake is looked at: what has arrived must be taken
        if (untilWoken && m_woken.exchange(false)) return false;
        const DWORD signalled = WaitForMultipleObjects(2, handles, FALSE, INFINITE);
        if (signalled == WAIT_FAILED) Stop();
        m_pending = signalled != WAIT_OBJECT_0 + 1;
    }
}

CFrameReader::Event CFrameReader::_TakeFrame() {
    DWORD gotBytes = 0;
    const bool whole = GetOverlappedResult(m_pipe, &m_overlapped, &gotBytes, FALSE) != FALSE;
    if (!whole && GetLastError() != ERROR_MORE_DATA) return Event::End;  // the usual end of a pipe

    bool sound = gotBytes >= sizeof(m_header);
    if (sound) {
        std::memcpy(&m_header, m_small.get(), sizeof(m_header));
        sound = IsSound(m_header);
    }
    if (sound) {
        sound = whole ? gotBytes - sizeof(m_header) == m_header.sizeBytes : _ReadRest(gotBytes);
    }
    if (sound) return Event::Frame;
    return m_stopped ? Event::End : Event::Unsound;
}

bool CFrameReader::_ReadRest(uint32_t gotBytes) {
    const uint32_t wholeBytes = sizeof(m_header) + m_header.sizeBytes;
    DWORD leftBytes = 0;
    if (!PeekNamedPipe(m_pipe, nullptr, 0, nullptr, nullptr, &leftBytes)) return false;
    if (wholeBytes < gotBytes || wholeBytes - gotBytes != leftBytes) return false;
    m_large = std::make_unique_for_overwrite<uint8_t[]>(wholeBytes);
    std::memcpy(m_large.get(), m_small.get(), gotBytes);
    if (!_Begin(m_large.get() + gotBytes, leftBytes) || !_Await(false)) return false;
    DWORD restBytes = 0;
    return GetOverlappedResult(m_pipe, &m_overlapped, &restBytes, FALSE) && restBytes == leftBytes;
}

}  // namespace host
