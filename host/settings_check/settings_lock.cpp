#include "host/settings_check/settings_lock.h"

#include <windows.h>

namespace host {

namespace {

constexpr const wchar_t* kFileName = L"engine.lock";
constexpr DWORD kPauseMs = 20;

}  // namespace

uint32_t SettingsLock::Take(const std::wstring& folder, uint32_t patienceMs) {
    const std::wstring path = folder + kFileName;
    const ULONGLONG deadline = GetTickCount64() + patienceMs;
    for (;;) {
        m_file.Reset(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
                                 FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        const DWORD error = GetLastError();
        if (m_file) return ERROR_SUCCESS;
        // A file on its way out gives the second of these for a moment.
        const bool mayPass = error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED;
        if (!mayPass || GetTickCount64() >= deadline) return error;
        Sleep(kPauseMs);
    }
}

}  // namespace host
