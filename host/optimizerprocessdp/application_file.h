#pragma once

#include <string>

#include "iservconfig/settings_file.h"
#include "optimizerprocessdp/application_lists.h"

namespace host {

/// Name of the file in the settings folder.
inline constexpr const wchar_t* kApplicationsFile = L"applications.json";

/// `out` is as it was unless the file is whole; `failure` says what is wrong with it in one sentence. A file
/// with wrong lists counts as broken. Throws std::bad_alloc.
SettingsFileState ReadApplications(const std::wstring& path, ApplicationLists& out, std::wstring& failure);

/// Puts a whole new file in the old one's place, so that a reader never meets half of it. Throws
/// std::bad_alloc.
bool WriteApplications(const std::wstring& path, const ApplicationLists& lists, std::wstring& failure);

}  // namespace host
