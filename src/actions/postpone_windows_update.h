#pragma once

#include <memory>

#include "actions/postpone_automatic_update_params.h"
#include "frame/handles.h"

struct IAutomaticUpdates;
struct IAutomaticUpdatesSettings;

namespace optimizer {

/// Sets how far Automatic Updates goes by itself. Each operation opens a connection to the Windows Update
/// Agent on its own thread and closes it at its end; it blocks while the agent answers. COM is initialised on
/// the thread that makes the action. One thread at a time.
class CPostponeWindowsUpdate final : public IOptimizerAction {
public:
    explicit CPostponeWindowsUpdate(PostponeAutomaticUpdateParams parameters);
    ~CPostponeWindowsUpdate() override;

    /// 0 or 31 (ERROR_GEN_FAILURE).
    uint32_t Start() override;
    uint32_t Stop() override { return 0; }
    /// 0 in every case. What was put back is from then on what the action wants.
    uint32_t Revert() override;
    /// Changes only what differs. 0, also for parameters of another type, or 31.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    bool HasSameParameters(IOptimizerActionSettings* parameters) override;
    IOptimizerActionSettings* GetParameters() override { return &m_parameters; }
    IOptimizerActionSettings* GetRevertParameters() override { return m_revertParameters.get(); }
    /// 0; a null or wrong argument is ignored.
    uint32_t SetRevertParameters(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return L"PostponeWindowsUpdate"; }

private:
    using Params = PostponeAutomaticUpdateParams;

    uint32_t _Connect();
    void _Disconnect();
    void _Snapshot();
    uint32_t _Apply();
    bool _GetSettings(const wchar_t* purpose, ComPointer<IAutomaticUpdatesSettings>& settings);
    uint32_t _SetAutomaticUpdatesNotificationLevel(int32_t level);
    uint32_t _SetRecommendedUpdates(bool recommended);
    uint32_t _UpdateAutomaticUpdatesSettings(const Params* wanted, const Params* previous);
    uint32_t _MoveTo(const Params& wanted);

    HRESULT m_comResult;
    std::unique_ptr<Params> m_revertParameters;  // what was found before the change
    Params m_parameters;
    ComPointer<IAutomaticUpdates> m_automaticUpdates;  // during an operation
};

}  // namespace optimizer
