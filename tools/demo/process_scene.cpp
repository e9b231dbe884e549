#include "tools/demo/process_scene.h"

#include <algorithm>
#include <cwchar>
#include <iterator>
#include <stdexcept>

#include "frame/module_path.h"
#include "host/terminal/terminal.h"
#include "tools/rig/process_state.h"
#include "tools/rig/scratch_services.h"

namespace demo {

namespace {

constexpr const wchar_t* kProgram = L"demo_game.exe";
constexpr const char* kTold[] = {R"({"count":1,"event":"processOptimized","process":"demo_game.exe")",
                                 R"({"count":2,"event":"processOptimized","process":"demo_game.exe")"};

void PrintProgram(DWORD id, DWORD found, const std::wstring& remark) {
    wchar_t row[160] = {};
    _snwprintf(row, std::size(row) - 1, L"  %-16s%-8u%-14s%s", kProgram, id, rig::PriorityText(found).c_str(),
               remark.c_str());
    host::PrintLine(row);
}

bool Reaches(DWORD id, DWORD wanted) {
    return rig::WaitUntil([&] { return rig::PriorityClass(id) == wanted; });
}

}  // namespace

picojson::value ProcessScene::Settings() {
    return picojson::value(picojson::object{{"settings", picojson::value(picojson::array())}});
}

ProcessScene::ProcessScene(const rig::Installation& installation, RunShown runShown) {
    runShown(
        installation.Control(std::wstring(L"apps add Game ") + kProgram + L" --product \"Scratch Product\""));
    _Start(L"runs all the time");
    const DWORD id = m_programs.front().process->Id();
    m_foundClass = rig::PriorityClass(id);  // NOLINT(cppcoreguidelines-prefer-member-initializer): not before
    host::PrintLine(L"");
    host::PrintLine(
        L"a program of that name, its process id, and the priority class that the system reports");
    PrintProgram(id, m_foundClass, m_programs.front().remark);
}

void ProcessScene::_Start(const wchar_t* remark) {
    auto process =
        std::make_unique<rig::ChildProcess>(L"\"" + optimizer::GetModuleFolder() + kProgram + L"\"");
    if (!process->WaitForLine("ready")) throw std::runtime_error("the program doesn't start");
    m_programs.push_back({std::move(process), remark});
}

bool ProcessScene::Follow(const std::string& profile) {
    const bool isGame = profile == "Game";
    const DWORD wanted = isGame ? ABOVE_NORMAL_PRIORITY_CLASS : m_foundClass;
    ULONGLONG beginMs = 0;
    if (isGame && Reaches(m_programs.front().process->Id(), wanted)) {
        beginMs = GetTickCount64();
        _Start(L"started in Game");
    }
    bool followed = true;
    for (const Program& program : m_programs) {
        const DWORD id = program.process->Id();
        followed = Reaches(id, wanted) && followed;
        std::wstring remark = program.remark;
        if (beginMs != 0 && &program == &m_programs.back())
            remark += L", raised within " + std::to_wstring(GetTickCount64() - beginMs) + L" ms";
        PrintProgram(id, rig::PriorityClass(id), remark);
    }
    return followed;
}

bool ProcessScene::AreAsFound() const {
    return std::all_of(m_programs.begin(), m_programs.end(), [this](const Program& program) {
        return rig::PriorityClass(program.process->Id()) == m_foundClass;
    });
}

bool ProcessScene::WasTold(const std::vector<std::string>& lines) const {
    return std::all_of(std::begin(kTold), std::end(kTold), [&](const char* wanted) {
        return std::any_of(lines.begin(), lines.end(),
                           [&](const std::string& line) { return line.starts_with(wanted); });
    });
}

}  // namespace demo
