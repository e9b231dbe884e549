#pragma once

#include <optional>

#include "actions/action_with.h"
#include "actions/com_apartment.h"
#include "actions/postpone_automatic_update_params.h"
#include "frame/handles.h"

struct IAutomaticUpdates;
struct IAutomaticUpdatesSettings;

namespace optimizer {

/// Sets how far Automatic Updates goes by itself. Each operation opens a connection to the Windows Update
/// Agent and closes it at its end; it blocks while the agent answers. One thread at a time, which may be
/// another one for each operation: COM is made ready for each, on the thread that it runs on.
class CPostponeWindowsUpdate final : public ActionWith<PostponeAutomaticUpdateParams> {
public:
    explicit CPostponeWindowsUpdate(PostponeAutomaticUpdateParams parameters);
    ~CPostponeWindowsUpdate() override;

    /// 0 or 31 (ERROR_GEN_FAILURE).
    uint32_t Note(IOptimizerActionSettings* next) override;
    /// 0 or 31 (ERROR_GEN_FAILURE).
    uint32_t Start() override;
    /// 0 in every case. What was put back is from then on what the action wants.
    uint32_t Revert() override;
    uint32_t FinishRevert() override;
    uint32_t PutBack() override;
    /// Changes only what differs. 0, also for parameters of another type, or 31.
    uint32_t Update(IOptimizerActionSettings* parameters) override;
    const wchar_t* GetName() override { return L"PostponeWindowsUpdate"; }

private:
    using Params = PostponeAutomaticUpdateParams;

    uint32_t _Connect();
    void _Disconnect();
    bool _Snapshot(Params& found);
    uint32_t _Apply();
    uint32_t _LookAgain(const Params& noted);
    bool _GetSettings(const wchar_t* purpose, ComPointer<IAutomaticUpdatesSettings>& settings);
    uint32_t _SetAutomaticUpdatesNotificationLevel(int32_t level);
    uint32_t _SetRecommendedUpdates(bool recommended);
    uint32_t _UpdateAutomaticUpdatesSettings(const Params* wanted, const Params* previous);
    uint32_t _MoveTo(const Params& wanted);

    bool m_isHalfway = false;  // a change failed after it may have set something
    // Both during an operation.
    std::optional<ComApartment> m_apartment;
    ComPointer<IAutomaticUpdates> m_automaticUpdates;
};

}  // namespace optimizer
