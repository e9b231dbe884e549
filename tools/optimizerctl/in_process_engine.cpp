#include "tools/optimizerctl/in_process_engine.h"

#include <windows.h>

#include "frame/module_path.h"
#include "frame/text.h"
#include "host/settings_check/settings_check.h"
#include "tools/optimizerctl/failure.h"

namespace ctl {

namespace {

constexpr const wchar_t* kServicePipe = L"\\\\.\\pipe\\optimizerpipe";
constexpr DWORD kPipeWaitMs = 1;
constexpr uint32_t kSettingsPatienceMs = 1000;  // for a command before this one, on its way out

/// Whether anybody serves the pipe, also with all of its ends in use.
bool ServiceAnswers() {
    return WaitNamedPipeW(kServicePipe, kPipeWaitMs) || GetLastError() != ERROR_FILE_NOT_FOUND;
}

Failure Refusal(uint32_t code, const std::wstring& reason) {
    return {ExitCode::Refused, code, L"There can be no engine in this process: " + reason + L"."};
}

}  // namespace

InProcessEngine::~InProcessEngine() {
    if (!m_started) return;
    m_engine.Get()->Stop();
    // Freeing the object runs no destructor: without this the engine's threads would outlive it.
    m_engine.Get()->UnInit();
    m_engine.Release();
}

IOptimizer& InProcessEngine::Open(std::optional<uint32_t>) {
    if (m_started) return *m_engine.Get();
    if (ServiceAnswers())
        throw Refusal(ERROR_SERVICE_ALREADY_RUNNING,
                      L"the service runs, and two engines would undo each other's work; leave --in-process "
                      L"out, or stop the service");
    _TakeSettings();
    const std::wstring library = optimizer::GetModuleFolder() + L"optimizeral.dll";
    if (const uint32_t error = m_engine.Load(library, L"optimizerinproc"); error != ERROR_SUCCESS) {
        throw Refusal(error, library + L" can't be loaded, " + optimizer::SystemErrorText(error) +
                                 L"; install the program again");
    }
    if (const uint32_t error = m_engine.Get()->Init(nullptr); error != ERROR_SUCCESS) {
        m_engine.Release();
        throw Refusal(error, L"it doesn't start, " + optimizer::SystemErrorText(error));
    }
    m_started = true;
    if (const uint32_t error = m_engine.Get()->Start(); error != ERROR_SUCCESS)
        throw Refusal(error, L"it doesn't start, " + optimizer::SystemErrorText(error));
    return *m_engine.Get();
}

void InProcessEngine::_TakeSettings() {
    const std::wstring folder = host::FindSettingsFolder();
    const uint32_t error = m_settings.Take(folder, kSettingsPatienceMs);
    if (error == ERROR_SUCCESS) return;
    if (error == ERROR_SHARING_VIOLATION) {
        throw Refusal(error, L"another one works with the settings in " + folder +
                                 L", that of another command or of a service that starts or stops; wait for "
                                 L"its end");
    }
    if (error == ERROR_CANT_ACCESS_FILE) throw Refusal(error, host::SettingsLock::InTheWay(folder));
    throw Refusal(error, L"nothing could be put back, since the settings folder " + folder +
                             L" can't be written, " + optimizer::SystemErrorText(error) +
                             L"; run the command as an administrator");
}

}  // namespace ctl
