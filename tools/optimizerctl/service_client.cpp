#include "tools/optimizerctl/service_client.h"

#include <windows.h>

#include "frame/module_path.h"
#include "frame/text.h"
#include "host/pipe_holder/pipe_holder.h"
#include "tools/optimizerctl/failure.h"

namespace ctl {

namespace {

constexpr DWORD kPauseMs = 100;

}  // namespace

IServPlugin& ServiceClient::Open(std::optional<uint32_t> timeoutMs) {
    if (m_started) return *m_client.Get();
    const uint64_t deadline = GetTickCount64() + timeoutMs.value_or(0);
    uint32_t error = _Connect();
    while (error != ERROR_SUCCESS && GetTickCount64() + kPauseMs < deadline) {
        Sleep(kPauseMs);
        error = _Connect();
    }
    if (error == ERROR_SUCCESS) return *m_client.Get();
    _RefuseStranger();
    // The component gives 8 for every connection that it doesn't get, whose text would mislead.
    throw Unreachable(error, error == ERROR_NOT_ENOUGH_MEMORY ? L"nothing answers on its pipe"
                                                              : optimizer::SystemErrorText(error));
}

/// Throws Failure: what lacks here doesn't come with time.
void ServiceClient::_Create() {
    const std::wstring library = optimizer::GetModuleFolder() + L"optimizeral.dll";
    const std::wstring again = L"; install the program again.";
    const uint32_t loadError = m_client.Load(library, m_component, m_iid);
    if (loadError != ERROR_SUCCESS) {
        throw Failure(ExitCode::NoService, loadError,
                      L"The service can't be reached: " + library + L" can't be loaded, " +
                          optimizer::SystemErrorText(loadError) + again);
    }
    const uint32_t initError = m_client.Get()->Init(nullptr);
    if (initError != ERROR_SUCCESS) {
        m_client.Release();
        throw Failure(ExitCode::NoService, initError,
                      L"The service can't be reached: connector.dll can't be used, " +
                          optimizer::SystemErrorText(initError) + again);
    }
    m_initialised = true;
}

/// Throws Failure when the connector said nothing to the pipe for whose it is.
void ServiceClient::_RefuseStranger() {
    const auto holder = host::FindPipeHolder(std::wstring(L"\\\\.\\pipe\\") + m_pipe);
    if (!holder || holder->owner.empty() || host::MayServe(holder->owner)) return;
    throw Failure(ExitCode::NoService, ERROR_INVALID_OWNER,
                  L"The service isn't asked: its pipe is served by " + host::HolderText(*holder) +
                      L", and that is neither SYSTEM nor an administrator nor your account; end that process "
                      L"and start the service.");
}

/// A new object for each attempt: one whose Start has failed says 0 to the next without being connected.
uint32_t ServiceClient::_Connect() {
    _Create();
    const uint32_t error = m_client.Get()->Start();
    m_started = error == ERROR_SUCCESS;
    if (!m_started) _Close();
    return error;
}

void ServiceClient::_Close() {
    if (m_started) m_client.Get()->Stop();
    m_started = false;
    if (m_initialised) m_client.Get()->UnInit();
    m_initialised = false;
    m_client.Release();
}

}  // namespace ctl
