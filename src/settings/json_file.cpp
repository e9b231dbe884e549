#include "settings/json_file.h"

#include <windows.h>

#include "frame/handles.h"
#include "frame/json.h"
#include "frame/text.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr int64_t kLargestFile = 64 * 1024 * 1024;  // far above any settings file, far below harm

JsonFileState ReadText(const std::wstring& path, std::string& text) {
    TRACE_SCOPE("ReadText");
    FileHandle file(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return JsonFileState::Absent;
        TRACE_LINE(trace::kWarning, L"Open %s failed 0x%x", path.c_str(), error);
        return JsonFileState::Unreadable;
    }
    LARGE_INTEGER size = {};
    if (!GetFileSizeEx(file.Get(), &size) || size.QuadPart > kLargestFile) return JsonFileState::Unreadable;
    text.resize(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    if (!ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr)) {
        return JsonFileState::Unreadable;
    }
    text.resize(read);
    return text.empty() ? JsonFileState::Empty : JsonFileState::Ok;
}

}  // namespace

JsonFileState ReadJsonFile(const std::wstring& path, picojson::value& out) {
    TRACE_SCOPE("ReadJsonFile");
    std::string text;
    const JsonFileState state = ReadText(path, text);
    if (state != JsonFileState::Ok) return state;
    std::string error;
    if (json::Parse(text, out, error)) return JsonFileState::Ok;
    TRACE_LINE(trace::kWarning, L"%s: %S", path.c_str(), error.c_str());
    return JsonFileState::Broken;
}

bool WriteJsonFile(const std::wstring& path, const picojson::value& value) {
    TRACE_SCOPE("WriteJsonFile");
    const std::string text = value.serialize();
    // Truncated in place, without a temporary file and a rename: a half-written file fails its next read, and
    // readers have their fall-backs for that.
    FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS,
                                FILE_ATTRIBUTE_NORMAL, nullptr));
    if (!file) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"Open %s for writing failed 0x%x", path.c_str(), error);
        return false;
    }
    DWORD written = 0;
    if (!WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
        written != text.size()) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"Write %s failed 0x%x", path.c_str(), error);
        return false;
    }
    FlushFileBuffers(file.Get());
    return true;
}

bool ReadObjectForChange(const std::wstring& path, picojson::object& out) {
    picojson::value value;
    switch (ReadJsonFile(path, value)) {
        case JsonFileState::Ok:
            if (!value.is<picojson::object>()) return false;
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
    return false;
}

}  // namespace optimizer
