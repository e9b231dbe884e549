#include "tools/optimizerctl/diagnosis.h"

#include <algorithm>

#include "frame/text.h"
#include "tools/optimizerctl/context.h"

namespace ctl {

namespace {

using host::SettingsFile;
using host::SettingsFileState;

constexpr size_t kTopicWidth = 14;
constexpr size_t kNameWidth = 40;

/// By state.
constexpr const wchar_t* kFileWords[] = {L"good", L"missing", L"unreadable", L"broken"};

std::wstring WordOf(const SettingsFile& file) {
    return kFileWords[static_cast<size_t>(file.state)];
}

std::wstring ServiceText(const ServiceState& service) {
    if (service.error != 0) return L"can't be told: " + optimizer::SystemErrorText(service.error);
    return service.installed ? L"installed, " + service.state : L"not installed";
}

std::wstring EngineText(const EngineState& engine) {
    if (engine.failure) return engine.failure->Sentence();
    return L"answered in " + std::to_wstring(engine.milliseconds) + L" ms, the active profile is " +
           engine.profile;
}

std::wstring BootText(const BootState& boot) {
    return boot.failure ? boot.failure->Sentence() : L"took " + SecondsText(boot.milliseconds);
}

/// Revert lists that hold something.
std::wstring RevertText(const std::vector<SettingsFile>& files) {
    std::wstring text;
    for (const SettingsFile& file : files) {
        const std::vector<host::RevertEntry> entries =
            host::IsRevertFile(file.Name()) ? host::RevertEntries(file) : std::vector<host::RevertEntry>();
        if (!entries.empty()) text += L"\n  " + file.Name();
        for (const host::RevertEntry& entry : entries) {
            text += L"\n    " + Column(entry.action, kNameWidth - 2) + std::to_wstring(entry.valueCount) +
                    (entry.valueCount == 1 ? L" value" : L" values");
        }
    }
    return text.empty() ? Column(L"To put back", kTopicWidth) + L"nothing" : L"To put back" + text;
}

picojson::value ServiceDocument(const ServiceState& service) {
    if (service.error != 0) return picojson::value(picojson::object{{"error", NumberValue(service.error)}});
    return picojson::value(picojson::object{{"installed", picojson::value(service.installed)},
                                            {"running", picojson::value(service.running)},
                                            {"state", TextValue(service.state)}});
}

picojson::value EngineDocument(const EngineState& engine) {
    picojson::object document{{"reachable", picojson::value(!engine.failure)}};
    if (engine.failure) {
        document["code"] = NumberValue(engine.failure->Code());
        document["text"] = TextValue(engine.failure->Sentence());
    } else {
        document["milliseconds"] = NumberValue(engine.milliseconds);
        document["profile"] = TextValue(engine.profile);
    }
    return picojson::value(document);
}

picojson::value BootDocument(const BootState& boot) {
    if (!boot.failure)
        return picojson::value(picojson::object{{"milliseconds", NumberValue(boot.milliseconds)}});
    return picojson::value(picojson::object{{"code", NumberValue(boot.failure->Code())},
                                            {"text", TextValue(boot.failure->Sentence())}});
}

picojson::value FileDocument(const SettingsFile& file) {
    picojson::object document{{"name", TextValue(file.Name())}, {"state", TextValue(WordOf(file))}};
    if (host::IsRevertFile(file.Name()) && file.state == SettingsFileState::Ok) {
        picojson::object entries;
        for (const host::RevertEntry& entry : host::RevertEntries(file))
            entries[optimizer::Narrow(entry.action)] = NumberValue(entry.valueCount);
        document["revert"] = picojson::value(entries);
    }
    return picojson::value(document);
}

}  // namespace

void DiagnoseSettings(const std::wstring& folder, Diagnosis& diagnosis) {
    diagnosis.folder = folder;
    diagnosis.files = host::ReadSettingsFiles(folder);
    std::vector<SettingsFile> mine = diagnosis.files;
    // What belongs to another user is no fault when this account can't read it.
    std::erase_if(mine, [&](const SettingsFile& file) {
        return file.state == SettingsFileState::Unreadable && file.path != mine.front().path;
    });
    for (const host::SettingsFinding& finding : host::CheckFiles(mine))
        diagnosis.problems.push_back(finding.sentence);
}

ExitCode Verdict(const Diagnosis& diagnosis) {
    if (diagnosis.engine.failure) return diagnosis.engine.failure->Exit();
    return diagnosis.problems.empty() ? ExitCode::Done : ExitCode::Refused;
}

std::wstring ReportText(const Diagnosis& diagnosis) {
    std::wstring text = Column(L"Service", kTopicWidth) + ServiceText(diagnosis.service) + L"\n" +
                        Column(L"Engine", kTopicWidth) + EngineText(diagnosis.engine) + L"\n";
    if (diagnosis.boot) text += Column(L"Boot", kTopicWidth) + BootText(*diagnosis.boot) + L"\n";
    text += Column(L"Settings", kTopicWidth) + diagnosis.folder;
    for (const SettingsFile& file : diagnosis.files)
        text += L"\n  " + Column(file.Name(), kNameWidth) + WordOf(file);
    text += L"\n" + RevertText(diagnosis.files);
    if (!diagnosis.problems.empty()) text += L"\nProblems";
    for (const std::wstring& problem : diagnosis.problems)
        text += L"\n  " + problem;
    return text;
}

picojson::object ReportDocument(const Diagnosis& diagnosis) {
    picojson::array files;
    for (const SettingsFile& file : diagnosis.files)
        files.push_back(FileDocument(file));
    picojson::array problems;
    for (const std::wstring& problem : diagnosis.problems)
        problems.push_back(TextValue(problem));
    return {{"service", ServiceDocument(diagnosis.service)},
            {"engine", EngineDocument(diagnosis.engine)},
            {"boot", diagnosis.boot ? BootDocument(*diagnosis.boot) : picojson::value()},
            {"folder", TextValue(diagnosis.folder)},
            {"files", picojson::value(files)},
            {"problems", picojson::value(problems)},
            {"exit", NumberValue(static_cast<uint64_t>(Verdict(diagnosis)))}};
}

}  // namespace ctl
