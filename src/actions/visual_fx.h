#pragma once

#include <memory>
#include <string>

#include "actions/action_with.h"
#include "actions/visual_fx_agent.h"
#include "actions/visual_fx_params.h"
#include "border/host.h"
#include "border/optimizer_agent.h"
#include "frame/critical_section.h"
#include "frame/handles.h"

namespace optimizer {

/// Turns visual effects on or off. They belong to the user's session, where the agent reads and writes them
/// on this action's commands and reports what it found.
///
/// From its construction to its destruction the action holds the agent server and hears the agents' answers,
/// on a thread of the server. The engine's thread waits for an answer in GetRevertParameters, five seconds at
/// most, and never under the lock.
class VisualFX final : public ActionWith<VisualFXParams>, public IOptimizerAgentEvents {
public:
    VisualFX(VisualFXParams parameters, IServMain* main);
    ~VisualFX() override;
    VisualFX(const VisualFX&) = delete;
    VisualFX& operator=(const VisualFX&) = delete;

    /// The code of the broadcast, whether an agent heard it or not; 31 when the user can't be found, 87
    /// without an agent server, or the registry's error.
    uint32_t Start() override;
    uint32_t Revert() override;
    /// The code of the broadcast; 87 without an agent server or for parameters of another type.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    /// What the agents reported last, after a wait for a report that is still to come. The caller's until the
    /// next call.
    IOptimizerActionSettings* GetRevertParameters() override;
    uint32_t SetRevertParameters(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return m_name.c_str(); }
    /// Whether an agent reported since the last Start, after a wait for it.
    uint32_t PutBack() override;
    bool BelongsToUser() const override { return true; }
    /// Agents bring back the effects that the action was made with, and no others.
    bool CanReturnTo(const IOptimizerActionSettings* saved) const override;

    void Reserved0() override {}
    void Reserved1() override {}
    void OnAgentData(const void* payload, int32_t sizeBytes) override;

private:
    void _Connect();
    static uint32_t _SetVisualFXSettingToCustom(const std::wstring& sid);
    uint32_t _Send(const CByteStream& command);
    void _Load(const void* payload, int32_t sizeBytes);

    std::wstring m_name = L"VisualFX";
    IServMain* m_main;
    IOptimizerAgentServer* m_agentServer = nullptr;
    bool m_subscribed = false;
    bool m_hasReport = false;       // since the last Start; guarded by m_lock
    KernelHandle m_revertReceived;  // signalled by each report, for one wait
    CCriticalSection m_lock;        // guards the values to return to as well
    VisualFXParams m_handedOut;     // the copy that the engine reads while other reports may come
};

}  // namespace optimizer
