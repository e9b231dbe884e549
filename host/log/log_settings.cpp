#include "log/log_settings.h"

#include <windows.h>
#include <shlwapi.h>

#include "frame/json.h"
#include "frame/module_path.h"
#include "frame/text.h"
#include "iservconfig/settings_file.h"

namespace host {

namespace json = optimizer::json;

namespace {

std::wstring DefaultPath() {
    wchar_t program[MAX_PATH] = L"";
    const DWORD length = GetModuleFileNameW(nullptr, program, MAX_PATH);
    if (length == 0 || length == MAX_PATH) return ResolveLogPath(L"logs\\log.log");
    PathRemoveExtensionW(program);
    return ResolveLogPath(std::wstring(L"logs\\") + PathFindFileNameW(program) + L".log");
}

}  // namespace

std::wstring DefaultLogSettingsFile() {
    return optimizer::GetModuleFolder() + L"settings\\log.json";
}

std::wstring ResolveLogPath(const std::wstring& written) {
    const std::wstring path = ExpandEnvironment(written);
    return PathIsRelativeW(path.c_str()) ? optimizer::GetModuleFolder() + path : path;
}

LogSettings ReadLogSettings(const std::wstring& file) {
    LogSettings settings;
    picojson::value root;
    std::wstring failure;  // nobody to tell it to: this is the log
    if (ReadSettingsFile(file, root, failure) == SettingsFileState::Ok) {
        if (const auto enabled = json::ToBool(json::Find(root, "enabled"))) settings.enabled = *enabled;
        if (const auto level = json::ToInt32(json::Find(root, "level"))) settings.level = *level;
        if (const auto size = json::ToUint32(json::Find(root, "maxSizeBytes"))) settings.maxSizeBytes = *size;
        const auto path = json::ToText(json::Find(root, "path"));
        if (path && !path->empty()) settings.path = ResolveLogPath(optimizer::Widen(*path));
    }
    if (settings.path.empty()) settings.path = DefaultPath();
    return settings;
}

}  // namespace host
