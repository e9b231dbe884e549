#include "tools/optimizerctl/diagnosis.h"

#include <algorithm>

#include "frame/text.h"
#include "tools/optimizerctl/context.h"
#include "tools/optimizerctl/run_outcome.h"

namespace ctl {

namespace {

using host::SettingsFile;
using host::SettingsFileState;

constexpr size_t kTopicWidth = 14;
constexpr size_t kNameWidth = 40;

/// By state.
constexpr const wchar_t* kFileWords[] = {L"good", L"missing", L"unreadable", L"broken"};

std::wstring StateOf(const SettingsFile& file) {
    return kFileWords[static_cast<size_t>(file.state)];
}

std::wstring FileText(const SettingsFile& file) {
    return StateOf(file) + (file.copyCounts ? L", its copy is used" : L"") +
           (file.isSetAside ? L", damaged notes beside it" : L"");
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

std::wstring LastRunText(const host::LastRun& run) {
    std::wstring text = L"of " + run.profile;
    if (run.running) return text + L", still going on";
    const size_t count = run.problems.size();
    if (count == 0) return text + L", all of it done";
    return text + L", " + std::to_wstring(count) + (count == 1 ? L" thing" : L" things") + L" not done";
}

std::wstring EntryText(const host::RevertEntry& entry) {
    if (entry.isNamed) return L"in force, without values";
    return std::to_wstring(entry.valueCount) + (entry.valueCount == 1 ? L" value" : L" values") +
           (entry.owner.empty() ? L"" : L" of " + entry.owner);
}

/// Restore files that hold something.
std::wstring RevertText(const std::vector<SettingsFile>& files) {
    std::wstring text;
    for (const SettingsFile& file : files) {
        const std::vector<host::RevertEntry> entries =
            host::IsRestoreFile(file.Name()) ? host::RevertEntries(file) : std::vector<host::RevertEntry>();
        if (!entries.empty()) text += L"\n  " + file.Name();
        for (const host::RevertEntry& entry : entries)
            text += L"\n    " + Column(entry.action, kNameWidth - 2) + EntryText(entry);
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
    picojson::object document{{"name", TextValue(file.Name())}, {"state", TextValue(StateOf(file))}};
    if (!host::IsRestoreFile(file.Name())) return picojson::value(document);
    document["copyUsed"] = picojson::value(file.copyCounts);
    document["damagedBeside"] = picojson::value(file.isSetAside);
    if (!file.IsUsable()) return picojson::value(document);
    picojson::object values;
    picojson::array named;
    picojson::object owners;
    for (const host::RevertEntry& entry : host::RevertEntries(file)) {
        const std::string action = optimizer::Narrow(entry.action);
        if (entry.isNamed) {
            named.emplace_back(action);
        } else {
            values[action] = NumberValue(entry.valueCount);
        }
        if (!entry.owner.empty()) owners[action] = TextValue(entry.owner);
    }
    document["revert"] = picojson::value(values);
    document["inForce"] = picojson::value(named);
    document["owners"] = picojson::value(owners);
    return picojson::value(document);
}

picojson::value LastRunDocument(const host::LastRun& run, const std::wstring& folder) {
    return picojson::value(picojson::object{{"problems", ProblemsDocument(run, folder)},
                                            {"profile", TextValue(run.profile)},
                                            {"running", picojson::value(run.running)}});
}

/// Users may read no restore file of the service's; what they could hold, they could keep from being noted.
void TakeFromEngine(Diagnosis& diagnosis) {
    if (!diagnosis.notes) return;
    for (const host::NotedList& list : diagnosis.notes->lists) {
        const auto known = std::find_if(diagnosis.files.begin(), diagnosis.files.end(),
                                        [&](const SettingsFile& file) { return file.Name() == list.file; });
        const bool isHidden = known != diagnosis.files.end() && known->state == SettingsFileState::Unreadable;
        if (known != diagnosis.files.end() && !isHidden) continue;
        if (!isHidden && list.entries.empty() && list.state == SettingsFileState::Ok) continue;
        SettingsFile file;
        file.path = diagnosis.folder + list.file;
        file.state = list.state;
        file.told = list.entries;
        if (isHidden) {
            *known = file;
        } else {
            diagnosis.files.push_back(file);
        }
    }
}

}  // namespace

void DiagnoseSettings(const std::wstring& folder, Diagnosis& diagnosis) {
    diagnosis.folder = folder;
    diagnosis.files = host::ReadSettingsFiles(folder);
    TakeFromEngine(diagnosis);
    std::vector<SettingsFile> mine = diagnosis.files;
    // What belongs to another user is no fault when this account can't read it.
    std::erase_if(mine, [&](const SettingsFile& file) {
        return file.state == SettingsFileState::Unreadable && file.path != mine.front().path;
    });
    for (const host::SettingsFinding& finding : host::CheckFiles(mine))
        diagnosis.problems.push_back(finding.sentence);
    if (diagnosis.notes)
        diagnosis.problems.insert(diagnosis.problems.end(), diagnosis.notes->unused.begin(),
                                  diagnosis.notes->unused.end());
    diagnosis.isToBeMended = !diagnosis.problems.empty();
}

void DiagnoseLastRun(Diagnosis& diagnosis) {
    if (!diagnosis.lastRun) return;
    std::vector<std::wstring>& problems = diagnosis.problems;
    for (const std::wstring& sentence : host::SentencesOf(*diagnosis.lastRun, diagnosis.folder)) {
        if (std::find(problems.begin(), problems.end(), sentence) == problems.end())
            problems.push_back(sentence);
    }
    diagnosis.isToBeMended |= diagnosis.lastRun->HasSerious();
}

ExitCode Verdict(const Diagnosis& diagnosis) {
    if (diagnosis.engine.failure) return diagnosis.engine.failure->Exit();
    return diagnosis.isToBeMended ? ExitCode::Refused : ExitCode::Done;
}

std::wstring ReportText(const Diagnosis& diagnosis) {
    std::wstring text = Column(L"Service", kTopicWidth) + ServiceText(diagnosis.service) + L"\n" +
                        Column(L"Engine", kTopicWidth) + EngineText(diagnosis.engine) + L"\n";
    if (diagnosis.lastRun) text += Column(L"Last run", kTopicWidth) + LastRunText(*diagnosis.lastRun) + L"\n";
    if (diagnosis.boot) text += Column(L"Boot", kTopicWidth) + BootText(*diagnosis.boot) + L"\n";
    text += Column(L"Settings", kTopicWidth) + diagnosis.folder;
    for (const SettingsFile& file : diagnosis.files)
        text += L"\n  " + Column(file.Name(), kNameWidth) + FileText(file);
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
            {"lastRun",
             diagnosis.lastRun ? LastRunDocument(*diagnosis.lastRun, diagnosis.folder) : picojson::value()},
            {"boot", diagnosis.boot ? BootDocument(*diagnosis.boot) : picojson::value()},
            {"folder", TextValue(diagnosis.folder)},
            {"files", picojson::value(files)},
            {"problems", picojson::value(problems)},
            {"exit", NumberValue(static_cast<uint64_t>(Verdict(diagnosis)))}};
}

}  // namespace ctl
