#include "plugins/registration_status.h"

#include <utility>

#include "border/host.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/settings_folder.h"
#include "frame/trace.h"

namespace host {

namespace trace = optimizer::trace;

using optimizer::CriticalSectionGuard;
using optimizer::Guarded;

namespace {

constexpr const wchar_t* kFileName = L"registration.json";
constexpr DWORD kRetryMs = 1000;          // a file that is being written
constexpr DWORD kFolderRetryMs = 30'000;  // a folder that isn't there
constexpr DWORD kWatched = FILE_NOTIFY_CHANGE_FILE_NAME | FILE_NOTIFY_CHANGE_LAST_WRITE |
                           FILE_NOTIFY_CHANGE_SIZE | FILE_NOTIFY_CHANGE_ATTRIBUTES |
                           FILE_NOTIFY_CHANGE_SECURITY;

struct FolderChangeTraits {
    using Type = HANDLE;
    static Type Invalid() noexcept { return INVALID_HANDLE_VALUE; }
    static void Close(Type handle) { FindCloseChangeNotification(handle); }
};
using FolderChange = optimizer::UniqueHandle<FolderChangeTraits>;

}  // namespace

CRegistrationStatus::CRegistrationStatus() {
    m_log.Get();
}

void* CRegistrationStatus::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<IRegistrationStatus>(this, iid);
}

uint32_t CRegistrationStatus::Init(IServMain* main) {
    return Guarded([&]() -> uint32_t {
        TRACE_SCOPE("CRegistrationStatus::Init");
        IComponentManager* const components = main != nullptr ? main->GetComponentManager() : nullptr;
        if (components == nullptr) {
            TRACE_LINE(trace::kError, L"Component Manager is null!");
            return ERROR_INVALID_HANDLE;
        }
        m_folder = optimizer::SettingsFolder(components);
        return ERROR_SUCCESS;
    });
}

uint32_t CRegistrationStatus::Start() {
    return Guarded([&]() -> uint32_t {
        TRACE_SCOPE("CRegistrationStatus::Start");
        if (m_thread.joinable()) return ERROR_SUCCESS;
        m_stop.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
        const DWORD error = GetLastError();
        if (!m_stop) return error;
        static_cast<void>(_Refresh());
        m_thread = std::thread([this] { _Watch(); });
        return ERROR_SUCCESS;
    });
}

uint32_t CRegistrationStatus::Stop() {
    if (m_thread.joinable()) {
        SetEvent(m_stop.Get());
        m_thread.join();
    }
    return ERROR_SUCCESS;
}

void CRegistrationStatus::Read(RegistrationReceiver* receive, void* context) {
    CriticalSectionGuard guard(m_lock);
    const RegistrationFields fields = {m_registration.email.c_str(), m_registration.token.c_str(),
                                       m_registration.partnerId,
                                       static_cast<uint8_t>(m_registration.authenticated ? 1 : 0)};
    receive(context, &fields);
}

uint32_t CRegistrationStatus::RegisterCallback(RegistrationChange change, RegistrationCallback* function,
                                               void* context) {
    if (function == nullptr) return ERROR_INVALID_PARAMETER;
    return Guarded([&] { return _CallbacksOf(change).Add({function, context}); });
}

uint32_t CRegistrationStatus::UnregisterCallback(RegistrationChange change, RegistrationCallback* function,
                                                 void* context) {
    return Guarded([&] { return _CallbacksOf(change).Remove({function, context}, 0); });
}

CRegistrationStatus::Callbacks& CRegistrationStatus::_CallbacksOf(RegistrationChange change) {
    return change == RegistrationChange::Status ? m_statusCallbacks : m_accountCallbacks;
}

/// The thread. The engine's own files lie in the folder too: each change costs one look at a small file.
void CRegistrationStatus::_Watch() {
    FolderChange change;
    for (;;) {
        if (!change) change.Reset(FindFirstChangeNotificationW(m_folder.c_str(), FALSE, kWatched));
        const bool again = _Refresh() == RegistrationFileState::Unreadable;
        DWORD waitMs = change ? INFINITE : kFolderRetryMs;
        if (again) waitMs = kRetryMs;
        const HANDLE signals[] = {m_stop.Get(), change.Get()};
        const DWORD signal = WaitForMultipleObjects(change ? 2 : 1, signals, FALSE, waitMs);
        if (signal == WAIT_OBJECT_0 || signal == WAIT_FAILED) return;
        // Asked for before the next look, so that what happens meanwhile wakes the next wait.
        if (signal == WAIT_OBJECT_0 + 1 && !FindNextChangeNotification(change.Get())) change.Reset();
    }
}

/// Reads the file and tells who is interested in what is new.
RegistrationFileState CRegistrationStatus::_Refresh() {
    RegistrationFileState state = RegistrationFileState::Unreadable;
    static_cast<void>(Guarded([&] {
        Registration now;
        state = _ReadFile(now);
        bool statusChanged = false;
        bool accountChanged = false;
        {
            CriticalSectionGuard guard(m_lock);
            statusChanged = now.authenticated != m_registration.authenticated ||
                            now.partnerId != m_registration.partnerId;
            accountChanged = now.email != m_registration.email || now.token != m_registration.token;
            m_registration = std::move(now);
        }
        const auto tell = [](const Callback& callback) { callback.function(callback.context); };
        if (statusChanged) m_statusCallbacks.ForEach(tell);
        if (accountChanged) m_accountCallbacks.ForEach(tell);
        return uint32_t{ERROR_SUCCESS};
    }));
    return state;
}

RegistrationFileState CRegistrationStatus::_ReadFile(Registration& out) {
    TRACE_SCOPE("CRegistrationStatus::_ReadFile");
    std::wstring problem;
    const RegistrationFileState state = ReadRegistration(m_folder + kFileName, out, problem);
    if (state == RegistrationFileState::Absent) problem.clear();  // nobody has signed in yet
    // Once, not at every change in the folder.
    if (!problem.empty() && problem != m_problem) TRACE_LINE(trace::kWarning, L"%s", problem.c_str());
    m_problem = problem;
    return state;
}

}  // namespace host
