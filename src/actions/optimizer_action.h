#pragma once

#include <cstdint>
#include <string>

#include <picojson.h>

namespace optimizer {

/// The parameters of one action. A parameter of the wrong type is told by dynamic_cast.
class IOptimizerActionSettings {
public:
    virtual ~IOptimizerActionSettings() = default;
    /// Serialises the parameters.
    virtual void ToJson(picojson::value* out) const = 0;
    /// Reads them. A field whose key is missing or whose value can't be used keeps its default.
    virtual void FromJson(const picojson::value* in) = 0;
};

/// One change to the machine, with the way back. Results are Windows error codes; ActionManager doesn't look
/// at them. One thread at a time calls an action, but for Stop, which comes from another thread while Start
/// runs.
class IOptimizerAction {
public:
    virtual ~IOptimizerAction() = default;
    /// Notes what it finds, unless SetRevertParameters told it before, then applies the action.
    virtual uint32_t Start() = 0;
    /// Asks a running Start to give up.
    virtual uint32_t Stop() = 0;
    /// Puts back what the action changed.
    virtual uint32_t Revert() = 0;
    /// Takes new values while active.
    virtual uint32_t Update(IOptimizerActionSettings* parameters) = 0;
    virtual bool HasSameParameters(IOptimizerActionSettings* parameters) = 0;
    virtual IOptimizerActionSettings* GetParameters() = 0;
    /// The values to return to; null while nothing has been recorded.
    virtual IOptimizerActionSettings* GetRevertParameters() = 0;
    /// Hands the action values that an earlier run saved: they count as what Start found. Which code a null
    /// or wrong argument gives is the action's own choice; it changes nothing in any case.
    virtual uint32_t SetRevertParameters(IOptimizerActionSettings* parameters) = 0;
    virtual const wchar_t* GetName() = 0;
    /// Whether the last Start, whose result is given, got through to what the action changes. Blocks for as
    /// long as an answer may take to come.
    virtual bool HasTakenEffect(uint32_t startResult) { return startResult == 0; }
    /// Whether Revert would bring back all of the values that an earlier run saved, perhaps with other
    /// parameters. What doesn't fit mustn't be handed over: the rest of it would be lost.
    virtual bool CanReturnTo(const IOptimizerActionSettings*) const { return true; }
};

/// What an action has just done.
enum class ActionState : int32_t {
    Started = 1,
    Reverted = 2,
    Updated = 3,
};

class IActionObserver {
public:
    virtual void OnActionState(IOptimizerAction* action, const ActionState* state) = 0;

protected:
    ~IActionObserver() = default;
};

}  // namespace optimizer
