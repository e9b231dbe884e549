#pragma once

#include <memory>
#include <set>
#include <string>

#include "actions/action_with.h"
#include "actions/visual_fx_agent.h"
#include "actions/visual_fx_params.h"
#include "border/agent_presence.h"
#include "border/host.h"
#include "border/optimizer_agent.h"
#include "frame/critical_section.h"
#include "frame/handles.h"

namespace optimizer {

/// Turns visual effects on or off. They belong to the user's session, where the agent reads and writes them
/// on this action's commands and reports what it found.
///
/// From its construction to its destruction the action holds the agent server and hears the agents' answers,
/// on a thread of the server. Each operation that sends a command waits for an agent that is expected, and
/// those that need an answer wait for that: five seconds at most for each, never under the lock, and not at
/// all where there is no agent. Stop, from any thread, ends the wait of the operation that runs.
class VisualFX final : public ActionWith<VisualFXParams>, public IOptimizerAgentEvents {
public:
    VisualFX(VisualFXParams parameters, IServMain* main);
    ~VisualFX() override;
    VisualFX(const VisualFX&) = delete;
    VisualFX& operator=(const VisualFX&) = delete;

    /// 0 when what the change will return to is noted. 87 without an agent server or for parameters of
    /// another type, 1168 without an agent, 1460 for one that doesn't report in time, 1223 after a Stop, or
    /// the broadcast's code.
    uint32_t Note(IOptimizerActionSettings* next) override;
    /// The code of the broadcast, whether an agent heard it or not; 31 when the user can't be found, 87
    /// without an agent server, 1223 after a Stop, or the registry's error.
    uint32_t Start() override;
    uint32_t Stop() override;
    uint32_t Revert() override;
    /// 0 when an agent has read what is noted after it had put that back, or nothing is noted; otherwise as
    /// Note. What it read isn't looked at: a hand's value stays, and so does one that the system refuses.
    uint32_t FinishRevert() override;
    /// The code of the broadcast; 87 without an agent server or for parameters of another type, 1223 after a
    /// Stop.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    /// What is noted, after a wait for the report of a command that nothing was noted for. The caller's until
    /// the next call.
    IOptimizerActionSettings* GetRevertParameters() override;
    uint32_t SetRevertParameters(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return m_name.c_str(); }
    /// As FinishRevert, of all effects, whatever they are at.
    uint32_t PutBack() override;
    bool BelongsToUser() const override { return true; }
    /// Agents bring back the effects that the action was made with, those of its updates, and no others.
    bool CanReturnTo(const IOptimizerActionSettings* saved) const override;

    void Reserved0() override {}
    void Reserved1() override {}
    void OnAgentData(const void* payload, int32_t sizeBytes) override;

private:
    void _Connect();
    static uint32_t _SetVisualFXSettingToCustom(const std::wstring& sid);
    VisualFXParams _Lacking(const VisualFXParams& wanted);
    uint32_t _Ask(const VisualFXParams& lacking);
    uint32_t _WaitForAgent();
    uint32_t _Send(const CByteStream& command);
    uint32_t _Broadcast(const CByteStream& command);
    uint32_t _Broadcast(VisualEffectsCommand which, const VisualFXParams& values);
    template <class IsDone>
    uint32_t _WaitUntil(IsDone isDone);
    void _Load(const void* payload, int32_t sizeBytes);

    std::wstring m_name = L"VisualFX";
    IServMain* m_main;
    IOptimizerAgentServer* m_agentServer = nullptr;
    IAgentPresence* m_presence = nullptr;  // of the agent server; null where that doesn't tell
    bool m_subscribed = false;
    VisualFXParams m_applied;                  // what this action has, or will have, set last
    uint32_t m_answerError = ERROR_NOT_FOUND;  // why no answer to the last command is to come; 0 when one is
    KernelHandle m_stop;                       // ends the waits of the operation that runs
    KernelHandle m_reportCame;                 // signalled by each report, for one look
    CCriticalSection m_lock;                   // guards the values to return to as well
    std::set<std::string> m_awaited GUARDED_BY(m_lock);  // effects that reports are still to tell of
    bool m_isRevertAnswered GUARDED_BY(m_lock) = false;  // the last one
    std::set<std::string> m_unread GUARDED_BY(m_lock);   // effects to be read behind that answer
    VisualFXParams m_handedOut;  // the copy that the engine reads while other reports may come
};

}  // namespace optimizer
