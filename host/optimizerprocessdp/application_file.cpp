#include "optimizerprocessdp/application_file.h"

#include <windows.h>

#include "frame/text.h"
#include "frame/whole_file.h"

namespace host {

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
    const uint32_t error = optimizer::WriteWholeFile(path, lists.ToJson().serialize(true));
    if (error == ERROR_SUCCESS) return true;
    failure = path + L": " + optimizer::SystemErrorText(error);
    return false;
}

}  // namespace host
