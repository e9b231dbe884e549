#include "tools/rig/installation.h"

#include <filesystem>

#include <windows.h>

#include "frame/handles.h"
#include "frame/module_path.h"
#include "tools/rig/child_process.h"

namespace rig {

namespace {

/// The library of the update agent's class, as the registry names it.
constexpr const wchar_t* kUpdateAgentKey =
    L"Software\\Classes\\CLSID\\{BFE18E9C-6D87-4450-B37C-E02F0B373803}\\InprocServer32";

void SetUpdateAgent(const std::wstring& library) {
    RegSetKeyValueW(HKEY_LOCAL_MACHINE, kUpdateAgentKey, nullptr, REG_SZ, library.c_str(),
                    static_cast<DWORD>((library.size() + 1) * sizeof(wchar_t)));
}

}  // namespace

Installation::Installation(const std::string& profiles) {
    namespace fs = std::filesystem;
    // Test programs lie in build/.../tests/NAME, the product's in build/.../bin.
    const fs::path bin = fs::path(optimizer::GetModuleFolder()) / L"..\\..\\bin";
    const fs::path folder = m_folder.Path();
    for (const auto& entry : fs::directory_iterator(bin)) {
        if (entry.is_regular_file()) fs::copy_file(entry.path(), folder / entry.path().filename());
    }
    fs::create_directories(folder / L"settings\\optimizer");
    for (const auto& entry : fs::directory_iterator(bin / L"settings")) {
        if (entry.is_regular_file())
            fs::copy_file(entry.path(), folder / L"settings" / entry.path().filename());
    }
    WriteFileText(SettingsFile(L"profiles.json"), profiles);
}

Installation::~Installation() {
    if (!m_updateAgent.empty()) SetUpdateAgent(m_updateAgent);
    try {
        if (FileExists(File(L"optimizeragent.exe"))) static_cast<void>(RunProgram(Agent(L"stop")));
    } catch (const std::exception&) {
        // Its files stay behind then.
    }
}

void Installation::UseSimulatedPower() const {
    std::filesystem::copy_file(optimizer::GetModuleFolder() + L"powrprof.dll", File(L"powrprof.dll"));
    static constexpr wchar_t kOrder[] = L"native,builtin";
    // Wine would take its own library otherwise; a service doesn't inherit the test's environment.
    RegSetKeyValueW(HKEY_CURRENT_USER, L"Software\\Wine\\AppDefaults\\optimizerhost.exe\\DllOverrides",
                    L"powrprof", REG_SZ, kOrder, sizeof(kOrder));
}

void Installation::UseSimulatedUpdateAgent() {
    const std::wstring library = File(L"updateagent.dll");
    std::filesystem::copy_file(optimizer::GetModuleFolder() + L"updateagent.dll", library);
    wchar_t before[MAX_PATH] = L"";
    DWORD sizeBytes = sizeof(before);
    RegGetValueW(HKEY_LOCAL_MACHINE, kUpdateAgentKey, nullptr, RRF_RT_ANY, nullptr, before, &sizeBytes);
    m_updateAgent = before;
    SetUpdateAgent(library);
}

bool Installation::StartAgent() const {
    std::wstring commandLine = Agent(L"run");
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started = {};
    // Without any handle of this process: the session's desktop, which comes with the first window, would
    // keep it open long after the agent.
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, DETACHED_PROCESS, nullptr,
                        nullptr, &startup, &started))
        return false;
    const optimizer::KernelHandle process(started.hProcess);
    const optimizer::KernelHandle thread(started.hThread);
    return true;
}

std::wstring Installation::Host(const std::wstring& arguments) const {
    return L"\"" + File(L"optimizerhost.exe") + L"\" " + arguments;
}

std::wstring Installation::Agent(const std::wstring& arguments) const {
    return L"\"" + File(L"optimizeragent.exe") + L"\" " + arguments;
}

std::wstring Installation::Control(const std::wstring& arguments) const {
    return L"\"" + File(L"optimizerctl.exe") + L"\" " + arguments;
}

}  // namespace rig
