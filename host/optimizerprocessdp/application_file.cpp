#include "optimizerprocessdp/application_file.h"

#include <windows.h>

#include "frame/handles.h"
#include "frame/text.h"

namespace host {

namespace {

DWORD WriteWhole(const std::wstring& path, const std::string& text) {
    const optimizer::FileHandle file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    const bool succeeded =
        file && WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) &&
        FlushFileBuffers(file.Get());
    if (!succeeded) return GetLastError();
    // A full disk may take a part and call it a success; the old file is worth more than that.
    return written == text.size() ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

}  // namespace

SettingsFileState ReadApplications(const std::wstring& path, ApplicationLists& out, std::wstring& failure) {
    picojson::value document;
    const SettingsFileState state = ReadSettingsFile(path, document, failure);
    if (state != SettingsFileState::Ok) return state;
    std::wstring problem;
    auto lists = ApplicationLists::FromJson(document, problem);
    if (!lists) {
        failure = path + L": the file " + problem;
        return SettingsFileState::Broken;
    }
    out = *std::move(lists);
    return SettingsFileState::Ok;
}

bool WriteApplications(const std::wstring& path, const ApplicationLists& lists, std::wstring& failure) {
    const std::wstring fresh = path + L".new";
    DWORD error = WriteWhole(fresh, lists.ToJson().serialize(true));
    if (error == ERROR_SUCCESS &&
        !MoveFileExW(fresh.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        error = GetLastError();
    }
    if (error == ERROR_SUCCESS) return true;
    DeleteFileW(fresh.c_str());
    failure = path + L": " + optimizer::SystemErrorText(error);
    return false;
}

}  // namespace host
