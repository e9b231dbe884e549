#include "log/log_file.h"

#include "trust/file_trust.h"

namespace host {

namespace {

constexpr ULONGLONG kRetryMs = 5000;

/// Makes the folders above a file, the outermost first. What fails shows when the file is opened.
void MakeFoldersFor(const std::wstring& path) {
    const size_t folderEnd = path.find_last_of(L"\\/");
    if (folderEnd == std::wstring::npos || folderEnd == 0) return;
    const std::wstring folder = path.substr(0, folderEnd);
    if (GetFileAttributesW(folder.c_str()) != INVALID_FILE_ATTRIBUTES) return;
    MakeFoldersFor(folder);
    CreateDirectoryW(folder.c_str(), nullptr);
}

}  // namespace

void CLogFile::SetPath(const std::wstring& path) {
    Close();
    m_path = path;
    m_nextAttemptMs = 0;
}

void CLogFile::Close() {
    m_file.Reset();
}

uint32_t CLogFile::Append(const std::string& line) {
    if (!m_file) {
        const uint32_t error = _Open();
        if (error != ERROR_SUCCESS) return error;
    }
    if (m_maxSizeBytes != 0 && m_sizeBytes != 0 && m_sizeBytes + line.size() > m_maxSizeBytes) {
        Close();
        _PutAside();
        // When the full file can't be renamed it is emptied: the newest lines are worth more than the oldest.
        _Empty();
        const uint32_t error = _OpenHandle();
        if (error != ERROR_SUCCESS) return error;
    }
    DWORD written = 0;
    if (!WriteFile(m_file.Get(), line.data(), static_cast<DWORD>(line.size()), &written, nullptr)) {
        return GetLastError();
    }
    m_sizeBytes += written;
    return ERROR_SUCCESS;
}

uint32_t CLogFile::_Open() {
    if (GetTickCount64() < m_nextAttemptMs) return ERROR_NOT_READY;
    MakeFoldersFor(m_path);
    if (m_startAfresh) _PutAside();
    return _OpenHandle();
}

/// By a look at it before anything is cut off: a second name of another file isn't emptied.
void CLogFile::_Empty() {
    const optimizer::FileHandle file(
        CreateFileW(m_path.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, optimizer::FlagsAgainstLinks(), nullptr));
    if (file && optimizer::WhyNotWritten(file.Get(), m_path).empty()) SetEndOfFile(file.Get());
}

uint32_t CLogFile::_OpenHandle() {
    // With the right to append only, the system puts each write at the end, whoever else writes.
    m_file.Reset(CreateFileW(m_path.c_str(), FILE_APPEND_DATA,
                             FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL | optimizer::FlagsAgainstLinks(), nullptr));
    const DWORD openError = GetLastError();
    const bool isLink = m_file && !optimizer::WhyNotWritten(m_file.Get(), m_path).empty();
    if (isLink) m_file.Reset();
    if (!m_file) {
        const DWORD error = isLink ? DWORD{ERROR_CANT_ACCESS_FILE} : openError;
        m_nextAttemptMs = GetTickCount64() + kRetryMs;
        return error;
    }
    LARGE_INTEGER size = {};
    m_sizeBytes = GetFileSizeEx(m_file.Get(), &size) ? static_cast<uint64_t>(size.QuadPart) : 0;
    return ERROR_SUCCESS;
}

void CLogFile::_PutAside() {
    MoveFileExW(m_path.c_str(), (m_path + L".1").c_str(), MOVEFILE_REPLACE_EXISTING);
}

}  // namespace host
