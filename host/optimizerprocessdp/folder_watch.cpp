#include "optimizerprocessdp/folder_watch.h"

#include <algorithm>
#include <utility>

#include "frame/trace.h"

namespace host {

namespace trace = optimizer::trace;

namespace {

constexpr DWORD kFilter =
    FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE | FILE_NOTIFY_CHANGE_SIZE;
constexpr uint32_t kRetryMs = 1000;    // between two tries to watch a folder that can't be watched
constexpr DWORD kSettleMs = 100;       // of quiet after a change
constexpr int kMostSettlePeriods = 5;  // a folder that never rests mustn't hold a change back

}  // namespace

CFolderWatch::CFolderWatch(std::wstring folder) : m_folder(std::move(folder)) {
    _Watch();
}

void CFolderWatch::_Watch() {
    TRACE_SCOPE("CFolderWatch::_Watch");
    m_changes.Reset(FindFirstChangeNotificationW(m_folder.c_str(), FALSE, kFilter));
    const DWORD error = GetLastError();
    const bool wasRefused = std::exchange(m_isRefused, !m_changes);
    if (m_isRefused && !wasRefused) {
        TRACE_LINE(trace::kWarning, L"%s can't be watched: 0x%x", m_folder.c_str(), error);
    }
}

bool CFolderWatch::WaitForChange(HANDLE stop, uint32_t timeoutMs) {
    if (!m_changes) {
        if (WaitForSingleObject(stop, std::min(timeoutMs, kRetryMs)) == WAIT_OBJECT_0) return false;
        _Watch();
        return true;
    }
    const HANDLE events[] = {stop, m_changes.Get()};
    DWORD waited = WaitForMultipleObjects(2, events, FALSE, timeoutMs);
    for (int period = 0; waited == WAIT_OBJECT_0 + 1; ++period) {
        if (!FindNextChangeNotification(m_changes.Get())) break;  // the folder is gone
        if (period == kMostSettlePeriods) return true;
        waited = WaitForMultipleObjects(2, events, FALSE, kSettleMs);
    }
    if (waited == WAIT_OBJECT_0) return false;
    if (waited != WAIT_TIMEOUT) m_changes.Reset();
    return true;
}

}  // namespace host
