#pragma once

#include <memory>
#include <string>

#include "border/host.h"
#include "border/optimizer_process_provider.h"
#include "border/registration_status.h"
#include "cloud/cloud_app_query_req.h"
#include "cloud/cloud_request.h"
#include "frame/critical_section.h"

namespace optimizer {

/// Tells the cloud service which applications the user has put in a profile. The answers aren't used, and a
/// failed request is lost.
///
/// Owned by COptimizerPlugin, whose Init, Start, Stop and UnInit call the ones here, on the host's thread.
/// The events come on the provider's thread, which only writes the document; requests run one at a time, in
/// the order of the events, on a serial execution. Stop blocks until no event is in flight, UnInit until the
/// running request has ended: ten seconds at most.
class CCloudAppsClient final : public ICloudRequestObserver, public IOptimizerProcessDPDetailsEvents {
public:
    CCloudAppsClient() = default;
    CCloudAppsClient(const CCloudAppsClient&) = delete;
    CCloudAppsClient& operator=(const CCloudAppsClient&) = delete;

    /// 0; 6 (ERROR_INVALID_HANDLE) for a missing host object; or the first error. What the host hasn't got is
    /// done without, so that the result needn't be looked at.
    uint32_t Init(IServMain* main);
    void Start();
    /// May be called more than once.
    void Stop();
    void UnInit();

    void OnCloudResponse(const std::string&) override {}
    void OnProcessesAdded(const ProcessEventKind* kind, const profiles::profile* which,
                          OptimizerProcessList* added) override;
    void OnProcessesRemoved(const ProcessEventKind*, const profiles::profile*,
                            OptimizerProcessList*) override {}

private:
    uint32_t _Init(IServMain* main);
    template <class Interface>
    uint32_t _GetPlugin(const wchar_t* name, Interface*& plugin);
    void _ReadAuthentication();
    static void _StoreAuthentication(void* context, const RegistrationFields* fields);
    static void _OnRegistrationChanged(void* context);
    uint32_t _Report(profiles::profile which, OptimizerProcessList* added);
    void _PerformCloudRequest(std::string body);

    IComponentManager* m_components = nullptr;
    IEventQueue* m_queue = nullptr;
    ISerialExecution* m_serial = nullptr;
    IOptimizerProcessDP* m_provider = nullptr;
    IRegistrationStatus* m_registration = nullptr;
    std::unique_ptr<CCloudRequest> m_request;
    std::string m_path = "services/optimizer";
    AuthenticationData m_authentication GUARDED_BY(m_lock);
    CCriticalSection m_lock;
};

}  // namespace optimizer
