#include "settings/json_file.h"

#include <algorithm>
#include <map>

#include <windows.h>

#include "frame/handles.h"
#include "frame/json.h"
#include "frame/slim_lock.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "trust/file_trust.h"

namespace optimizer {

namespace {

constexpr int kOpenAttempts = 75;
constexpr DWORD kOpenRetryMs = 20;

/// Who has waited for a file in vain doesn't wait again within moments: a run reads its notes many times.
class HeldFiles {
public:
    static HeldFiles& Instance() {
        static HeldFiles instance;
        return instance;
    }
    bool WasHeldJustNow(const std::wstring& path) {
        const LockGuard guard(m_lock);
        const auto held = m_sinceMs.find(path);
        return held != m_sinceMs.end() && GetTickCount64() - held->second < kForgetMs;
    }
    void Remember(const std::wstring& path, bool isHeld) {
        const LockGuard guard(m_lock);
        if (isHeld) {
            m_sinceMs[path] = GetTickCount64();
        } else {
            m_sinceMs.erase(path);
        }
    }

private:
    static constexpr ULONGLONG kForgetMs = 10000;

    CSlimLock m_lock;
    std::map<std::wstring, ULONGLONG> m_sinceMs GUARDED_BY(m_lock);
};

/// Opens a file. Scanners and backups hold files for a moment: a refusal for that is no reason to take the
/// file for unreadable, since the values to return to may be in it.
FileHandle Open(const std::wstring& path, DWORD access, DWORD disposition) {
    const int attempts = HeldFiles::Instance().WasHeldJustNow(path) ? 0 : kOpenAttempts;
    for (int attempt = 0;; ++attempt) {
        // Nobody writes while it is read, or a reader could meet it emptied and not yet written.
        FileHandle file(CreateFileW(path.c_str(), access, FILE_SHARE_READ, nullptr, disposition,
                                    FILE_ATTRIBUTE_NORMAL | FlagsAgainstLinks(), nullptr));
        const DWORD error = GetLastError();
        const bool held = error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
        if (file || !held || attempt == attempts) {
            HeldFiles::Instance().Remember(path, !file && held);
            SetLastError(error);
            return file;
        }
        Sleep(kOpenRetryMs);
    }
}

/// False for a file that this process doesn't go by; it stays as it is.
bool IsTrusted(HANDLE file, const std::wstring& path) {
    TRACE_SCOPE("IsTrusted");
    const std::wstring why = WhyUnused(file, path);
    if (!why.empty()) TRACE_LINE(trace::kError, L"%s", why.c_str());
    return why.empty();
}

bool IsFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

/// `problem` receives what is wrong with a broken file.
JsonFileState ReadText(const std::wstring& path, std::string& text, std::string& problem) {
    TRACE_SCOPE("ReadText");
    const FileHandle file = Open(path, GENERIC_READ, OPEN_EXISTING);
    DWORD error = GetLastError();
    if (!file && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND))
        return JsonFileState::Absent;
    if (!file && IsFolder(path)) {
        problem = "it is a folder";
        return JsonFileState::Broken;
    }
    // Unreadable, and not broken: what may be noted there is neither taken for an order nor replaced.
    if (file && !IsTrusted(file.Get(), path)) return JsonFileState::Unreadable;
    LARGE_INTEGER size = {};
    DWORD read = 0;
    bool succeeded = file && GetFileSizeEx(file.Get(), &size);
    if (file && !succeeded) error = GetLastError();
    if (succeeded && size.QuadPart > json::kLargestFileBytes) {
        problem = "it is larger than 64 MiB";
        return JsonFileState::Broken;
    }
    if (succeeded) {
        text.resize(static_cast<size_t>(size.QuadPart));
        succeeded =
            ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr) != FALSE;
        error = GetLastError();
    }
    if (!succeeded) {
        TRACE_LINE(trace::kWarning, L"Read %s failed 0x%x", path.c_str(), error);
        return JsonFileState::Unreadable;
    }
    text.resize(read);
    return text.empty() ? JsonFileState::Empty : JsonFileState::Ok;
}

uint32_t WriteAt(HANDLE file, int64_t place, const std::string& text) {
    LARGE_INTEGER position = {};
    position.QuadPart = place;
    DWORD written = 0;
    if (!SetFilePointerEx(file, position, nullptr, FILE_BEGIN) ||
        !WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
        return GetLastError();
    }
    // A full disk may take a part and call it a success.
    return written == text.size() ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

uint32_t CutAt(HANDLE file, int64_t place) {
    LARGE_INTEGER position = {};
    position.QuadPart = place;
    const bool cut = SetFilePointerEx(file, position, nullptr, FILE_BEGIN) && SetEndOfFile(file);
    return cut ? uint32_t{ERROR_SUCCESS} : GetLastError();
}

/// Replaces what the file holds, without a temporary file and a rename. A longer text first gets its room,
/// blanks behind the old one, which a full disk refuses before anything is lost. Then the text goes out in
/// one write that covers all of the old one, and the file is cut to its length after that: a kill at any
/// point leaves a whole document.
uint32_t Replace(HANDLE file, const std::string& text) {
    LARGE_INTEGER oldSize = {};
    if (!GetFileSizeEx(file, &oldSize)) return GetLastError();
    if (oldSize.QuadPart > json::kLargestFileBytes) return ERROR_FILE_TOO_LARGE;
    const auto oldLength = static_cast<size_t>(oldSize.QuadPart);
    uint32_t error = ERROR_SUCCESS;
    if (oldLength != 0 && text.size() > oldLength) {
        error = WriteAt(file, oldSize.QuadPart, std::string(text.size() - oldLength, ' '));
        // A file that was made longer in vain is still whole, but needn't stay so.
        if (error != ERROR_SUCCESS) return static_cast<void>(CutAt(file, oldSize.QuadPart)), error;
    }
    std::string covering = text;
    covering.resize(std::max(text.size(), oldLength), ' ');
    error = WriteAt(file, 0, covering);
    // Half of a first text would count as a damaged file from then on.
    if (error != ERROR_SUCCESS && oldLength == 0) return static_cast<void>(CutAt(file, 0)), error;
    if (error == ERROR_SUCCESS && text.size() < oldLength) {
        error = CutAt(file, static_cast<int64_t>(text.size()));
    }
    // What the disk hasn't got isn't noted.
    if (error == ERROR_SUCCESS && !FlushFileBuffers(file)) error = GetLastError();
    return error;
}

}  // namespace

JsonFileState ReadJsonFile(const std::wstring& path, picojson::value& out, std::string* error) {
    TRACE_SCOPE("ReadJsonFile");
    std::string text;
    std::string problem;
    JsonFileState state = ReadText(path, text, problem);
    if (state == JsonFileState::Ok && !json::Parse(text, out, problem)) state = JsonFileState::Broken;
    if (state == JsonFileState::Broken) {
        TRACE_LINE(trace::kWarning, L"%s: %S", path.c_str(), problem.c_str());
        if (error != nullptr) *error = problem;
    }
    return state;
}

uint32_t WriteJsonFile(const std::wstring& path, const picojson::value& value) {
    TRACE_SCOPE("WriteJsonFile");
    const FileHandle file = Open(path, GENERIC_WRITE, OPEN_ALWAYS);
    uint32_t error = GetLastError();
    if (file) error = IsTrusted(file.Get(), path) ? Replace(file.Get(), value.serialize()) : kErrorNotTrusted;
    if (error != ERROR_SUCCESS) TRACE_LINE(trace::kWarning, L"Write %s failed 0x%x", path.c_str(), error);
    return error;
}

bool ReadObjectForChange(const std::wstring& path, picojson::object& out) {
    TRACE_SCOPE("ReadObjectForChange");
    picojson::value value;
    switch (ReadJsonFile(path, value)) {
        case JsonFileState::Ok:
            if (!value.is<picojson::object>()) break;
            out = std::move(value.get<picojson::object>());
            return true;
        case JsonFileState::Absent:
        case JsonFileState::Empty:
            out.clear();
            return true;
        case JsonFileState::Unreadable:
        case JsonFileState::Broken:
            break;
    }
    TRACE_LINE(trace::kWarning, L"%s can't be changed", path.c_str());
    return false;
}

}  // namespace optimizer
