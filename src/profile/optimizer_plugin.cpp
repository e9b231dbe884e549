#include "profile/optimizer_plugin.h"

#include <new>
#include <string>
#include <utility>

#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "frame/users_library.h"
#include "frame/vx_string.h"
#include "profile/action_factory.h"

namespace optimizer {

namespace {

/// The interactive user for events; empty when nobody is logged on.
std::wstring GetCurrentUser() {
    TRACE_SCOPE("COptimizerPlugin::GetCurrentUser");
    std::wstring user;
    if (!GetCurrentUserName(user)) TRACE_LINE(trace::kInformation, L"SrvGetCurrentUserName failed");
    return user;
}

const wchar_t* TrueFalse(bool value) {
    return value ? L"true" : L"false";
}

}  // namespace

COptimizerPlugin::COptimizerPlugin()
    : m_notifier(std::make_unique<COptimizedProcessNotifier>()),
      m_cloud(std::make_unique<CCloudAppsClient>()) {
    m_log.Get();
}

/// A host may leave out the operations that end it; nothing stays registered for that.
COptimizerPlugin::~COptimizerPlugin() {
    _End();
}

void COptimizerPlugin::_End() {
    if (m_isStarted) Stop();
    if (m_tracksUsersInit) UnInit();
}

void* COptimizerPlugin::QueryInterface(const Identifier* iid) {
    // These three are this host's own; no other asks for them.
    if (iid != nullptr && *iid == IUninstall::kIdentifier) return static_cast<IUninstall*>(this);
    if (iid != nullptr && *iid == IRunReport::kIdentifier) return static_cast<IRunReport*>(this);
    if (iid != nullptr && *iid == INotesReport::kIdentifier) return static_cast<INotesReport*>(this);
    return AnswerFor<IOptimizer>(this, iid);
}

uint32_t COptimizerPlugin::Init(IServMain* main) {
    const uint32_t error = Guarded([&] { return _Init(main); });
    if (error != ERROR_SUCCESS) UnInit();  // nobody else takes back what a half Init has taken
    return error;
}

uint32_t COptimizerPlugin::_Init(IServMain* main) {
    TRACE_SCOPE("COptimizerPlugin::Init");
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"IServMain is null!");
        return ERROR_INVALID_HANDLE;
    }
    _End();  // of an earlier one that was left as it was
    m_main = main;
    VxUsersLibrary::Instance().Bind();
    m_tracksUsersInit = true;  // first, so that UnInit gives back what a call that throws has taken
    CUserLogon::Instance().Init(main);
    m_notifier->SetMain(main);
    m_manager.reset(new (std::nothrow) ProfileManager(this, main, &CreateAction));
    m_cloud->Init(main);  // a host without the cloud's plug-ins has an engine all the same
    if (m_bootLauncherCheck == nullptr) {
        m_bootLauncherCheck = std::make_unique<CBootLauncherCheckExec>();
        CUserLogon::Instance().Observers().Add(m_bootLauncherCheck.get());
    }
    return ERROR_SUCCESS;
}

void COptimizerPlugin::UnInit() {
    TRACE_SCOPE("COptimizerPlugin::UnInit");
    m_manager.reset();
    m_cloud->UnInit();
    if (m_bootLauncherCheck != nullptr) {
        CUserLogon::Instance().Observers().Remove(m_bootLauncherCheck.get(), 0);
        m_bootLauncherCheck.reset();
    }
    m_notifier->SetMain(nullptr);
    m_main = nullptr;
    if (!std::exchange(m_tracksUsersInit, false)) return;
    CUserLogon::Instance().Uninit();
    VxUsersLibrary::Instance().Unbind();
}

uint32_t COptimizerPlugin::Start() {
    return Guarded([&] { return _Start(); });
}

uint32_t COptimizerPlugin::_Start() {
    TRACE_SCOPE("COptimizerPlugin::Start");
    if (std::exchange(m_isStarted, true)) return ERROR_SUCCESS;
    m_notifier->RegisterObserver(this);
    m_notifier->Start();
    if (m_manager) static_cast<void>(m_manager->Start());
    m_cloud->Start();
    m_tracksUsersStarted = CUserLogon::Instance().Start() == ERROR_SUCCESS;
    return ERROR_SUCCESS;
}

uint32_t COptimizerPlugin::Stop() {
    TRACE_SCOPE("COptimizerPlugin::Stop");
    m_isStarted = false;
    if (m_manager) static_cast<void>(m_manager->Stop());
    m_cloud->Stop();
    m_notifier->UnregisterObserver(this);
    m_notifier->Stop();
    if (std::exchange(m_tracksUsersStarted, false)) CUserLogon::Instance().Stop();
    return ERROR_SUCCESS;
}

// Tasks aren't run by this class: the two operations keep their places and only trace.
uint32_t COptimizerPlugin::StartTask(const int32_t* task) {
    TRACE_SCOPE("COptimizerPlugin::StartTask");
    TRACE_LINE(trace::kInformation, L"task=%d", task != nullptr ? *task : 0);
    return ERROR_SUCCESS;
}

void COptimizerPlugin::CancelTask(const int32_t* task) {
    TRACE_SCOPE("COptimizerPlugin::CancelTask");
    TRACE_LINE(trace::kInformation, L"task=%d", task != nullptr ? *task : 0);
}

uint32_t COptimizerPlugin::SetProfile(const profile* wanted) {
    return Guarded([&] { return _SetProfile(wanted); });
}

uint32_t COptimizerPlugin::_SetProfile(const profile* wanted) {
    TRACE_SCOPE("COptimizerPlugin::SetProfile");
    if (wanted == nullptr) return ERROR_INVALID_PARAMETER;
    TRACE_LINE(trace::kInformation, L"profile=%d", *wanted);
    CriticalSectionGuard guard(m_lock);
    return m_manager ? m_manager->SetProfile(wanted) : uint32_t{ERROR_GEN_FAILURE};
}

uint32_t COptimizerPlugin::GetProfile(profile* active) {
    TRACE_SCOPE("COptimizerPlugin::GetProfile");
    if (active == nullptr) return ERROR_INVALID_PARAMETER;
    CriticalSectionGuard guard(m_lock);
    const uint32_t result = m_manager ? m_manager->GetProfile(active) : uint32_t{ERROR_GEN_FAILURE};
    if (result == ERROR_SUCCESS) TRACE_LINE(trace::kInformation, L"profile=%d", *active);
    return result;
}

uint32_t COptimizerPlugin::SetProfileConfig(const profile* which, vx::String* config) {
    return Guarded([&] { return _SetProfileConfig(which, config); });
}

uint32_t COptimizerPlugin::_SetProfileConfig(const profile* which, vx::String* config) {
    TRACE_SCOPE("COptimizerPlugin::SetProfileConfig");
    if (which == nullptr || config == nullptr) return ERROR_INVALID_PARAMETER;
    uint32_t result = ERROR_GEN_FAILURE;
    {
        CriticalSectionGuard guard(m_lock);
        if (m_manager) result = m_manager->SetProfileConfig(which, config->Text());
        TRACE_LINE(trace::kInformation, L"%s", config->Text());
    }
    // Subscribers hear of it whatever the result was; they read the config anew then.
    const std::wstring user = GetCurrentUser();
    m_subscribers.ForEach(
        [&](IOptimizerEvents* subscriber) { subscriber->OnProfileConfigChanged(user.c_str(), which); });
    return result;
}

uint32_t COptimizerPlugin::GetProfileConfig(const profile* which, vx::String* config) {
    return Guarded([&] { return _GetProfileConfig(which, config); });
}

uint32_t COptimizerPlugin::_GetProfileConfig(const profile* which, vx::String* config) {
    TRACE_SCOPE("COptimizerPlugin::GetProfileConfig");
    if (which == nullptr || config == nullptr) return ERROR_INVALID_PARAMETER;
    std::wstring text;
    CriticalSectionGuard guard(m_lock);
    const uint32_t result =
        m_manager ? m_manager->GetProfileConfig(which, text) : uint32_t{ERROR_GEN_FAILURE};
    if (result == ERROR_SUCCESS) config->Assign(text.c_str());
    TRACE_LINE(trace::kInformation, L"%s", text.c_str());
    return result;
}

uint32_t COptimizerPlugin::SetModuleEnable(bool enable) {
    return Guarded([&] { return _SetModuleEnable(enable); });
}

uint32_t COptimizerPlugin::_SetModuleEnable(bool enable) {
    TRACE_SCOPE("COptimizerPlugin::SetModuleEnable");
    TRACE_LINE(trace::kInformation, L"enable=%s", TrueFalse(enable));
    if (m_manager) {
        const uint32_t error = m_manager->SetModuleState(enable ? 1 : 0);
        if (error != ERROR_SUCCESS) {
            TRACE_LINE(trace::kError, L"failed error 0x%x", error);
            return error;
        }
    }
    const std::wstring user = GetCurrentUser();
    m_subscribers.ForEach([&](IOptimizerEvents* subscriber) {
        subscriber->OnOptimizerModuleEnableChanged(user.c_str(), enable);
    });
    return ERROR_SUCCESS;
}

uint32_t COptimizerPlugin::GetModuleEnable(bool* enable) {
    TRACE_SCOPE("COptimizerPlugin::GetModuleEnable");
    if (enable == nullptr) return ERROR_INVALID_PARAMETER;
    if (!m_manager) return ERROR_GEN_FAILURE;
    *enable = m_manager->GetModuleState();
    return ERROR_SUCCESS;
}

uint32_t COptimizerPlugin::GetLastRun(vx::String* report) {
    TRACE_SCOPE("COptimizerPlugin::GetLastRun");
    if (report == nullptr) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        const std::wstring text = m_manager ? Widen(m_manager->LastRun()) : L"";
        report->Assign(text.c_str());
        return text.empty() ? uint32_t{ERROR_GEN_FAILURE} : uint32_t{ERROR_SUCCESS};
    });
}

void COptimizerPlugin::ExpectUninstall() {
    TRACE_SCOPE("COptimizerPlugin::ExpectUninstall");
    CriticalSectionGuard guard(m_lock);
    if (m_manager) m_manager->ExpectUninstall();
}

uint32_t COptimizerPlugin::GetNotes(vx::String* report) {
    TRACE_SCOPE("COptimizerPlugin::GetNotes");
    if (report == nullptr) return ERROR_INVALID_PARAMETER;
    return Guarded([&] {
        const std::wstring text = m_manager ? Widen(m_manager->Notes()) : L"";
        report->Assign(text.c_str());
        return text.empty() ? uint32_t{ERROR_GEN_FAILURE} : uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerPlugin::AddEventsObserver(IOptimizerEvents* observer) {
    return observer != nullptr ? m_subscribers.Add(observer) : uint32_t{ERROR_INVALID_PARAMETER};
}

uint32_t COptimizerPlugin::RemoveEventsObserver(IOptimizerEvents* observer) {
    return m_subscribers.Remove(observer, 0);
}

void COptimizerPlugin::OnProfileApplied(const profile* applied) {
    TRACE_SCOPE("COptimizerPlugin::OnProfileApplied");
    TRACE_LINE(trace::kInformation, L"profile=%d", *applied);
    const std::wstring user = GetCurrentUser();
    m_subscribers.ForEach(
        [&](IOptimizerEvents* subscriber) { subscriber->OnProfileChanged(user.c_str(), applied); });
}

void COptimizerPlugin::OnActionsExecuted(const profile* executed) {
    TRACE_SCOPE("COptimizerPlugin::OnActionsExecuted");
    TRACE_LINE(trace::kInformation, L"profile=%d", *executed);
    const std::wstring user = GetCurrentUser();
    m_subscribers.ForEach(
        [&](IOptimizerEvents* subscriber) { subscriber->OnActionsExecuted(user.c_str(), executed); });
}

void COptimizerPlugin::OnModuleStateChanged(bool enabled) {
    TRACE_SCOPE("COptimizerPlugin::OnModuleStateChanged");
    TRACE_LINE(trace::kInformation, L"enabled=%s", TrueFalse(enabled));
    const std::wstring user = GetCurrentUser();
    m_subscribers.ForEach([&](IOptimizerEvents* subscriber) {
        subscriber->OnOptimizerModuleEnableChanged(user.c_str(), enabled);
    });
}

void COptimizerPlugin::OnProcessOptimized(const wchar_t* name, uint32_t count) {
    m_subscribers.ForEach(
        [&](IOptimizerEvents* subscriber) { subscriber->OnOptimizerProcessOptimized(name, count); });
}

}  // namespace optimizer
