#include "cloud/cloud_apps_client.h"

#include <utility>

#include <windows.h>

#include "cloud/cloud_factory.h"
#include "frame/guarded.h"
#include "frame/trace.h"
#include "frame/work_item.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kRegistrationPlugin = L"regal";
constexpr const wchar_t* kProviderPlugin = L"optimizerprocessdp";
// The label of another component's items too; whoever looks at queues knows both by it.
constexpr const wchar_t* kItemName = L"OptimizerWindowProcess_OnProcessNotify";

}  // namespace

uint32_t CCloudAppsClient::Init(IServMain* main) {
    return Guarded([&] { return _Init(main); });
}

uint32_t CCloudAppsClient::_Init(IServMain* main) {
    TRACE_SCOPE("CCloudAppsClient::Init");
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"ServMain is null!");
        return ERROR_INVALID_HANDLE;
    }
    m_components = main->GetComponentManager();
    if (m_components == nullptr) {
        TRACE_LINE(trace::kError, L"Component manager is null!");
        return ERROR_INVALID_HANDLE;
    }
    m_queue = main->GetEventQueue();
    if (m_queue == nullptr) {
        TRACE_LINE(trace::kError, L"Eventqueue is null!");
        return ERROR_INVALID_HANDLE;
    }
    const uint32_t serialError = m_queue->CreateSerialExecution(&m_serial);
    if (m_serial == nullptr) {
        TRACE_LINE(trace::kError, L"Could not create serial execution!");
        return serialError != ERROR_SUCCESS ? serialError : uint32_t{ERROR_GEN_FAILURE};
    }
    // A host may lack any of these; the others are used all the same.
    const uint32_t registrationError = _GetPlugin(kRegistrationPlugin, m_registration);
    if (registrationError != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"Error getting RegAL plugin!");
    const uint32_t providerError = _GetPlugin(kProviderPlugin, m_provider);
    if (providerError != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"Error getting Optimizer Process DP");
    const uint32_t cloudError = CCloudFactory::GetInstance().Init(m_components);
    if (cloudError != ERROR_SUCCESS) TRACE_LINE(trace::kError, L"Cloud Factory init failed!");
    m_request = std::make_unique<CCloudRequest>(m_path, this);

    for (const uint32_t error : {registrationError, providerError, cloudError}) {
        if (error != ERROR_SUCCESS) return error;
    }
    return ERROR_SUCCESS;
}

template <class Interface>
uint32_t CCloudAppsClient::_GetPlugin(const wchar_t* name, Interface*& plugin) {
    void* found = nullptr;
    const uint32_t error = m_components->GetPlugin(name, &Interface::kIdentifier, &found);
    if (error == ERROR_SUCCESS) plugin = static_cast<Interface*>(found);
    return error;
}

void CCloudAppsClient::Start() {
    if (m_provider != nullptr) m_provider->RegisterDetailsEvents(this);
    if (m_registration == nullptr) return;
    _ReadAuthentication();
    for (const RegistrationChange change : {RegistrationChange::Status, RegistrationChange::Account})
        m_registration->RegisterCallback(change, &_OnRegistrationChanged, this);
    _ReadAuthentication();  // for what changed before the callbacks were there
}

void CCloudAppsClient::Stop() {
    // Without the lock: both wait for a call in flight, which takes it.
    if (m_provider != nullptr) m_provider->UnregisterDetailsEvents(this);
    if (m_registration == nullptr) return;
    for (const RegistrationChange change : {RegistrationChange::Status, RegistrationChange::Account})
        m_registration->UnregisterCallback(change, &_OnRegistrationChanged, this);
}

void CCloudAppsClient::UnInit() {
    TRACE_SCOPE("CCloudAppsClient::UnInit");
    Stop();  // a Start that didn't get through has no Stop of its own
    if (std::exchange(m_registration, nullptr) != nullptr) m_components->ReleasePlugin(kRegistrationPlugin);
    if (std::exchange(m_provider, nullptr) != nullptr) m_components->ReleasePlugin(kProviderPlugin);
    if (ISerialExecution* const serial = std::exchange(m_serial, nullptr)) {
        m_queue->DestroySerialExecution(serial);
    }
    m_request.reset();
    CCloudFactory::GetInstance().Free();
    m_components = nullptr;
    m_queue = nullptr;
    CriticalSectionGuard guard(m_lock);
    m_authentication = {};  // a next Start hears of entries before it has asked who is signed in
}

void CCloudAppsClient::_ReadAuthentication() {
    CriticalSectionGuard guard(m_lock);
    m_registration->Read(&_StoreAuthentication, &m_authentication);
}

void CCloudAppsClient::_StoreAuthentication(void* context, const RegistrationFields* fields) {
    AuthenticationData& mine = *static_cast<AuthenticationData*>(context);
    mine.authenticated = false;  // stays so when the memory is short
    static_cast<void>(Guarded([&] {
        mine = {fields->email, fields->token, fields->authenticated != 0, fields->partnerId};
        return uint32_t{ERROR_SUCCESS};
    }));
}

void CCloudAppsClient::_OnRegistrationChanged(void* context) {
    static_cast<CCloudAppsClient*>(context)->_ReadAuthentication();
}

void CCloudAppsClient::OnProcessesAdded(const ProcessEventKind* kind, const profiles::profile* which,
                                        OptimizerProcessList* added) {
    if (*kind != ProcessEventKind::Entries || m_registration == nullptr) return;
    static_cast<void>(Guarded([&] { return _Report(*which, added); }));
}

uint32_t CCloudAppsClient::_Report(profiles::profile which, OptimizerProcessList* added) {
    TRACE_SCOPE("CCloudAppsClient::OnProcessesAdded");
    std::string body;
    {
        CriticalSectionGuard guard(m_lock);
        if (!m_authentication.authenticated) {
            // The entries aren't kept: a later sign-in doesn't send what was added without one.
            TRACE_LINE(trace::kWarning, L"User not authenticated!");
            return ERROR_SUCCESS;
        }
        CloudAppQueryReq::Serialize(which, added, m_authentication, body);
    }
    using Item = EqWorkItemMember1<void, CCloudAppsClient, std::string>;
    auto item = std::make_unique<Item>(this, body, &CCloudAppsClient::_PerformCloudRequest);
    const uint32_t error = m_serial != nullptr ? m_serial->Post(kItemName, nullptr, item.get(), 0, 0, 0)
                                               : uint32_t{ERROR_INVALID_HANDLE};
    if (error == ERROR_SUCCESS) static_cast<void>(item.release());  // the host disposes of it
    return error;
}

// By value: the work item calls with what it holds. NOLINTNEXTLINE(performance-unnecessary-value-param)
void CCloudAppsClient::_PerformCloudRequest(std::string body) {
    if (!m_request) return;
    std::string response;
    m_request->Exec(body, response);
}

}  // namespace optimizer
