#include "iservconfig/settings_file.h"

#include "frame/handles.h"
#include "frame/json.h"
#include "frame/text.h"
#include "trust/file_trust.h"

namespace host {

namespace {

constexpr LONGLONG kLargestFile = LONGLONG{1024} * 1024;
constexpr char kByteOrderMark[] = "\xEF\xBB\xBF";

DWORD ReadWhole(HANDLE file, std::string& text) {
    LARGE_INTEGER size = {};
    if (!GetFileSizeEx(file, &size)) return GetLastError();
    if (size.QuadPart > kLargestFile) return ERROR_FILE_TOO_LARGE;
    text.resize(static_cast<size_t>(size.QuadPart));
    DWORD read = 0;
    if (!ReadFile(file, text.data(), static_cast<DWORD>(text.size()), &read, nullptr)) return GetLastError();
    text.resize(read);
    return ERROR_SUCCESS;
}

}  // namespace

SettingsFileState ReadSettingsFile(const std::wstring& path, picojson::value& out, std::wstring& failure) {
    const optimizer::FileHandle file(
        CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | optimizer::FlagsAgainstLinks(), nullptr));
    const DWORD error = GetLastError();
    if (file) failure = optimizer::WhyUnused(file.Get(), path);
    if (file && !failure.empty()) return SettingsFileState::Unreadable;
    if (file) return ReadOpenedSettings(file.Get(), path, out, failure);
    failure = path + L": " + optimizer::SystemErrorText(error);
    const bool absent = error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
    return absent ? SettingsFileState::Absent : SettingsFileState::Unreadable;
}

SettingsFileState ReadOpenedSettings(HANDLE file, const std::wstring& path, picojson::value& out,
                                     std::wstring& failure) {
    std::string text;
    const DWORD error = ReadWhole(file, text);
    if (error != ERROR_SUCCESS) {
        failure = path + L": " + optimizer::SystemErrorText(error);
        return SettingsFileState::Unreadable;
    }
    if (text.starts_with(kByteOrderMark)) text.erase(0, sizeof(kByteOrderMark) - 1);
    std::string place;
    if (optimizer::json::Parse(text, out, place)) return SettingsFileState::Ok;
    failure = path + L": " + optimizer::Widen(place);
    return SettingsFileState::Broken;
}

std::wstring ExpandEnvironment(const std::wstring& text) {
    const DWORD needed = ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
    if (needed == 0) return text;
    std::wstring expanded(needed, L'\0');
    const DWORD written = ExpandEnvironmentStringsW(text.c_str(), expanded.data(), needed);
    if (written == 0 || written > needed) return text;  // a variable may have changed in between
    expanded.resize(written - 1);
    return expanded;
}

}  // namespace host
