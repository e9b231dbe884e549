#include "settings/json_file.h"

#include <algorithm>

#include <windows.h>

#include "frame/handles.h"
#include "frame/json.h"
#include "frame/text.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr int kOpenAttempts = 10;
constexpr DWORD kOpenRetryMs = 20;
constexpr int64_t kLargestFile = int64_t{64} * 1024 * 1024;  // far above any settings file, far below harm

/// Opens a file. Scanners and backups hold files for a moment: a refusal for that is no reason to take the
/// file for unreadable, since the values to return to may be in it.
FileHandle Open(const std::wstring& path, DWORD access, DWORD disposition) {
    for (int attempt = 0;; ++attempt) {
        // Nobody writes while it is read, or a reader could meet it emptied and not yet written.
        FileHandle file(CreateFileW(path.c_str(), access, FILE_SHARE_READ, nullptr, disposition,
                                    FILE_ATTRIBUTE_NORMAL, nullptr));
        const DWORD error = GetLastError();
        const bool held = error == ERROR_SHARING_VIOLATION || error == ERROR_LOCK_VIOLATION;
        if (file || !held || attempt == kOpenAttempts) {
            SetLastError(error);
            return file;
        }
        Sleep(kOpenRetryMs);
    }
}

JsonFileState ReadText(const std::wstring& path, std::string& text) {
    TRACE_SCOPE("ReadText");
    const FileHandle file = Open(path, GENERIC_READ, OPEN_EXISTING);
    DWORD error = GetLastError();
    if (!file && (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND))
        return JsonFileState::Absent;
    LARGE_INTEGER size = {};
    DWORD read = 0;
    bool succeeded = static_cast<bool>(file);
    if (succeeded) {
        succeeded = GetFileSizeEx(file.Get(), &size) && size.QuadPart <= kLargestFile;
        error = GetLastError();
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

}  // namespace

JsonFileState ReadJsonFile(const std::wstring& path, picojson::value& out, std::string* error) {
    TRACE_SCOPE("ReadJsonFile");
    std::string text;
    const JsonFileState state = ReadText(path, text);
    if (state != JsonFileState::Ok) return state;
    std::string place;
    if (json::Parse(text, out, place)) return JsonFileState::Ok;
    TRACE_LINE(trace::kWarning, L"%s: %S", path.c_str(), place.c_str());
    if (error != nullptr) *error = place;
    return JsonFileState::Broken;
}

bool WriteJsonFile(const std::wstring& path, const picojson::value& value) {
    TRACE_SCOPE("WriteJsonFile");
    const std::string text = value.serialize();
    // In place, without a temporary file and a rename. The text goes out in one write that covers all of the
    // old one, blanks behind it, and the file is cut to its length after that: a kill at any point leaves a
    // whole document.
    const FileHandle file = Open(path, GENERIC_WRITE, OPEN_ALWAYS);
    DWORD error = GetLastError();
    LARGE_INTEGER oldSize = {};
    bool succeeded = file && GetFileSizeEx(file.Get(), &oldSize) && oldSize.QuadPart <= kLargestFile;
    if (succeeded) {
        std::string covering = text;
        covering.resize(std::max(text.size(), static_cast<size_t>(oldSize.QuadPart)), ' ');
        DWORD written = 0;
        succeeded =
            WriteFile(file.Get(), covering.data(), static_cast<DWORD>(covering.size()), &written, nullptr) &&
            written == covering.size();
        error = GetLastError();
    }
    if (succeeded && text.size() < static_cast<size_t>(oldSize.QuadPart)) {
        LARGE_INTEGER end = {};
        end.QuadPart = static_cast<LONGLONG>(text.size());
        succeeded = SetFilePointerEx(file.Get(), end, nullptr, FILE_BEGIN) && SetEndOfFile(file.Get());
        error = GetLastError();
    }
    if (!succeeded) {
        TRACE_LINE(trace::kWarning, L"Write %s failed 0x%x", path.c_str(), error);
        return false;
    }
    FlushFileBuffers(file.Get());
    return true;
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
