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

}  // namespace boottime
