#include "host/settings_check/settings_lock.h"

#include <windows.h>

#include "trust/file_trust.h"

namespace host {

namespace {

constexpr const wchar_t* kFileName = L"engine.lock";
constexpr DWORD kPauseMs = 20;

}  // namespace

uint32_t SettingsLock::Take(const std::wstring& folder, uint32_t patienceMs) {
    const std::wstring path = folder + kFileName;
    const ULONGLONG deadline = GetTickCount64() + patienceMs;
    for (;;) {
        m_file.Reset(CreateFileW(
            path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS,
            FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE | optimizer::FlagsAgainstLinks(), nullptr));
        const DWORD error = GetLastError();
        if (m_file) return ERROR_SUCCESS;
        const DWORD attributes = GetFileAttributesW(path.c_str());
        const bool isThere = attributes != INVALID_FILE_ATTRIBUTES;
        const bool isFolder = isThere && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        // A file on its way out gives the second of these for a moment.
        const bool mayPass = !isFolder && (error == ERROR_SHARING_VIOLATION || error == ERROR_ACCESS_DENIED);
        if (!mayPass || GetTickCount64() >= deadline)
            return isThere && error != ERROR_SHARING_VIOLATION ? uint32_t{ERROR_CANT_ACCESS_FILE} : error;
        Sleep(kPauseMs);
    }
}

std::wstring SettingsLock::InTheWay(const std::wstring& folder) {
    return folder + kFileName +
           L" is in the way, which is to be the file that keeps the settings for one engine; remove it";
}

}  // namespace host
