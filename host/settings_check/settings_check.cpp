#include "host/settings_check/settings_check.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include <windows.h>

#include "border/optimizer.h"
#include "border/product_info.h"
#include "frame/exported_object.h"
#include "frame/handles.h"
#include "frame/json.h"
#include "frame/module_path.h"
#include "frame/notes_check.h"
#include "frame/settings_folder.h"
#include "frame/text.h"

namespace host {

namespace {

using optimizer::SystemErrorText;
using optimizer::Widen;

void Add(std::vector<SettingsFinding>& findings, bool prevents, const std::wstring& sentence) {
    findings.push_back({prevents, sentence});
}

void CheckActionNames(const picojson::value& document, std::vector<SettingsFinding>& findings) {
    for (const wchar_t* profile : optimizer::profiles::kNames) {
        const picojson::value* const actions = optimizer::json::Find(document, optimizer::Narrow(profile));
        if (actions == nullptr) continue;
        if (!actions->is<picojson::object>()) {
            Add(findings, false,
                std::wstring(L"The profile \"") + profile +
                    L"\" in profiles.json is not an object and is ignored; make it one.");
            continue;
        }
        for (const auto& entry : actions->get<picojson::object>()) {
            const std::wstring name = Widen(entry.first);
            const bool known =
                std::any_of(std::begin(optimizer::kActionNames), std::end(optimizer::kActionNames),
                            [&](const wchar_t* action) { return name == action; });
            if (!known) {
                Add(findings, false,
                    L"The action \"" + name + L"\" of profile \"" + profile +
                        L"\" in profiles.json is unknown and is ignored; correct its name.");
            }
        }
    }
}

void CheckProfiles(const SettingsFile& file, std::vector<SettingsFinding>& findings) {
    if (file.state == SettingsFileState::Absent) {
        Add(findings, true,
            L"The profile definitions " + file.path +
                L" are missing; install the file that came with the program.");
    } else if (file.state != SettingsFileState::Ok) {
        Add(findings, true,
            L"The file " + file.path + L" " + file.problem +
                L"; correct it or install the one that came with the program.");
    } else {
        CheckActionNames(file.document, findings);
    }
}

void CheckStateFile(const SettingsFile& file, std::vector<SettingsFinding>& findings) {
    if (file.state == SettingsFileState::Ok) return;
    Add(findings, false,
        L"The file " + file.path + L" " + file.problem +
            L"; it is left as it is and not used until you correct or remove it.");
}

/// The engine has seen to it, or will: it goes by the last good copy, and keeps what it can't use.
void CheckRestoreFile(const SettingsFile& file, std::vector<SettingsFinding>& findings) {
    if (file.isSetAside) Add(findings, false, DamagedNotesSentence(file.path));
    const std::wstring isWrong = L"The file " + file.path + L" " + file.problem;
    const bool cantBeRead = file.state == SettingsFileState::Unreadable;
    if (file.state == SettingsFileState::Ok || (file.state == SettingsFileState::Absent && !file.copyCounts))
        return;
    if (file.copyCounts) {
        Add(findings, false,
            isWrong + (cantBeRead ? L"; its last good copy is used, but nothing can be noted until it can."
                                  : L"; its last good copy is used and takes its place."));
    } else if (cantBeRead) {
        Add(findings, false, isWrong + L"; until it can, nothing of it is put back and nothing noted in it.");
    } else {
        Add(findings, false,
            isWrong + L" and has no good copy; what is left is kept as " + file.Name() +
                optimizer::kDamagedSuffix +
                L", and nothing of it is put back or noted until you mend it, take its \"notes_check\" "
                L"out and give it its name again, or delete it.");
    }
}

void CheckWritable(const std::wstring& folder, std::vector<SettingsFinding>& findings) {
    const std::wstring probe = folder + L"write_test_" + std::to_wstring(GetCurrentProcessId()) + L".tmp";
    const optimizer::FileHandle file(CreateFileW(probe.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                                 FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE,
                                                 nullptr));
    if (file) return;
    const DWORD error = GetLastError();
    Add(findings, true,
        L"The settings folder " + folder + L" can't be written, so that nothing could be put back: " +
            SystemErrorText(error) + L". Give this account the right to change it.");
}

}  // namespace

std::wstring FindSettingsFolder() {
    optimizer::ExportedObject<IProductInfo> product;
    std::wstring dataFolder;
    const std::wstring library = optimizer::GetModuleFolder() + L"iservconfig.dll";
    if (product.Load(library, L"productinfo", kConfigurationObjectIdentifier) == ERROR_SUCCESS) {
        dataFolder = optimizer::DataFolder(product.Get());
    }
    return optimizer::SettingsFolder(dataFolder);
}

std::wstring DamagedNotesSentence(const std::wstring& restoreFile) {
    const std::wstring name = restoreFile.substr(restoreFile.find_last_of(L'\\') + 1);
    return L"What was noted in " + restoreFile + L" is damaged and kept beside it as " + name +
           optimizer::kDamagedSuffix +
           L", so that nothing of it is put back and nothing noted there; mend it, take its \"notes_check\" "
           L"out and give it its name again, or delete it when nothing is to be put back.";
}

std::vector<SettingsFinding> CheckFiles(const std::vector<SettingsFile>& files) {
    std::vector<SettingsFinding> findings;
    CheckProfiles(files.front(), findings);
    for (size_t i = 1; i < files.size(); ++i) {
        if (IsRestoreFile(files[i].Name())) {
            CheckRestoreFile(files[i], findings);
        } else {
            CheckStateFile(files[i], findings);
        }
    }
    return findings;
}

std::vector<std::wstring> StillNoted(const std::wstring& folder) {
    std::vector<std::wstring> sentences;
    for (const SettingsFile& file : ReadSettingsFiles(folder)) {
        if (!IsRestoreFile(file.Name())) continue;
        std::vector<SettingsFinding> findings;
        CheckRestoreFile(file, findings);
        for (const SettingsFinding& finding : findings)
            sentences.push_back(finding.sentence);
        for (const RevertEntry& entry : RevertEntries(file)) {
            sentences.push_back(entry.action +
                                L" is not back: what there is to return to is still noted in " + file.path +
                                (entry.owner.empty() ? L"." : L" for " + entry.owner + L"."));
        }
    }
    return sentences;
}

std::vector<SettingsFinding> CheckSettings(const std::wstring& folder) {
    std::vector<SettingsFinding> findings = CheckFiles(ReadSettingsFiles(folder));
    if (std::filesystem::is_directory(folder)) CheckWritable(folder, findings);
    return findings;
}

}  // namespace host
