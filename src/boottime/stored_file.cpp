#include "boottime/stored_file.h"

#include "settings/json_file.h"

namespace boottime {

using optimizer::JsonFileState;

StoredFileState ReadStoredFile(const std::wstring& path, picojson::value& out, std::string& error) {
    switch (optimizer::ReadJsonFile(path, out, &error)) {
        case JsonFileState::Ok:
            return StoredFileState::Ok;
        case JsonFileState::Empty:
            error = "the file is empty";
            return StoredFileState::Broken;
        case JsonFileState::Broken:
            return StoredFileState::Broken;
        case JsonFileState::Absent:
        case JsonFileState::Unreadable:
            break;
    }
    return StoredFileState::Absent;
}

bool ReadStoredFile(const optimizer::trace::LogScope& traceScope, const std::wstring& path,
                    const wchar_t* absent, picojson::value& out) {
    std::string error;
    switch (ReadStoredFile(path, out, error)) {
        case StoredFileState::Absent:
            TRACE_LINE(optimizer::trace::kWarning, absent);
            break;
        case StoredFileState::Broken:
            TRACE_LINE(optimizer::trace::kWarning, L"Invalid json file format : %S", error.c_str());
            break;
        case StoredFileState::Ok:
            return true;
    }
    return false;
}

}  // namespace boottime
