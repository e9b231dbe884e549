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

class IOptimizerAction;

/// Hears that an action's note has become smaller by itself: a value that was on its way back has arrived.
class INoteObserver {
public:
    /// On a thread of the action's, with none of its locks held, never after the action's end.
    virtual void OnNoteShrunk(IOptimizerAction* action) = 0;

protected:
    ~INoteObserver() = default;
};

/// One change to the machine, with the way back. Results are Windows error codes. One thread at a time calls
/// an action, but for Stop and Cancel, which come from another thread while Note, Start, Update, FinishRevert
/// or PutBack runs.
///
/// The road of a change: Note, then the engine has what GetRevertParameters gives on disk, then Start. The
/// same in front of Update. The road back: Revert, FinishRevert, then the note goes from the disk.
class IOptimizerAction {
public:
    virtual ~IOptimizerAction() = default;
    /// Finds out what the change to come will have to return to, beyond what is noted already, and changes
    /// nothing: in front of Start with null, in front of Update with its parameters. 0; otherwise that can't
    /// be told, and the change mustn't be made.
    virtual uint32_t Note(IOptimizerActionSettings* next) = 0;
    /// Applies the action. Without a Note before it notes what it finds by itself, unless SetRevertParameters
    /// told it. The result isn't looked at: an action that failed counts as active, and its own Revert takes
    /// back what it managed.
    virtual uint32_t Start() = 0;
    /// Asks a running operation to give up.
    virtual uint32_t Stop() = 0;
    /// What the next change of profile asks of a running operation: to give up, without ending the action.
    virtual uint32_t Cancel() { return Stop(); }
    /// Puts back what the action changed. The result isn't looked at, FinishRevert's is.
    virtual uint32_t Revert() = 0;
    /// Blocks until all that the last Revert began is done, or somebody stops it. 0 when the machine is back
    /// or somebody else's wish stands; otherwise the note has to stay.
    virtual uint32_t FinishRevert() = 0;
    /// In place of Start, for an action whose parameters are what an earlier run noted: brings them back from
    /// whatever the machine is at. Blocks as FinishRevert does. 0 when they are back.
    virtual uint32_t PutBack() = 0;
    /// Takes new values while active.
    virtual uint32_t Update(IOptimizerActionSettings* parameters) = 0;
    virtual bool HasSameParameters(IOptimizerActionSettings* parameters) = 0;
    virtual IOptimizerActionSettings* GetParameters() = 0;
    /// The values to return to; null while nothing has been recorded. The caller's until its next call.
    virtual IOptimizerActionSettings* GetRevertParameters() = 0;
    /// Hands the action values that an earlier run saved: they count as what Note found. Which code a null
    /// or wrong argument gives is the action's own choice; it changes nothing in any case.
    virtual uint32_t SetRevertParameters(IOptimizerActionSettings* parameters) = 0;
    virtual const wchar_t* GetName() = 0;
    /// Whether Revert would bring back all of the values that an earlier run saved, perhaps with other
    /// parameters. What doesn't fit mustn't be handed over: the rest of it would be lost.
    virtual bool CanReturnTo(const IOptimizerActionSettings*) const { return true; }
    /// Whether Update can move to these parameters under the note that there is. Otherwise the action is
    /// reverted, and one with the new parameters started.
    virtual bool CanUpdateTo(const IOptimizerActionSettings*) const { return true; }
    /// Whether there is something to put back although there are no values: the note is the name then, and
    /// PutBack needs no more.
    virtual bool IsNotedByName() const { return false; }
    /// Whether what is changed is the interactive user's, so that its note is of use with that user only.
    virtual bool BelongsToUser() const { return false; }
    /// Makes PutBack work on the user with this SID, whose part of the registry is loaded, in place of the
    /// interactive one. False when that takes the user's own session.
    virtual bool ActFor(const std::wstring&) { return !BelongsToUser(); }
    /// Comes first, and once. Null is accepted.
    virtual void ObserveNote(INoteObserver*) {}
};

/// What an action has just done.
enum class ActionState : int32_t {
    Started = 1,
    Reverted = 2,
    Updated = 3,
};

/// A step of a run that didn't get through.
enum class ActionStep {
    Note,     // what there is to return to can't be told: the change isn't made
    Store,    // the note isn't on disk: the change isn't made
    Revert,   // the machine isn't back
    PutBack,  // what an earlier run noted isn't back
};

/// Hears of each action on the thread of the change.
class IActionObserver {
public:
    virtual void OnActionState(IOptimizerAction* action, const ActionState* state) = 0;
    /// In front of a change, with what there is to return to noted by the action. 0 when that is on disk.
    [[nodiscard]] virtual uint32_t OnActionNoted(IOptimizerAction* action) = 0;
    virtual void OnActionFailed(const std::wstring& action, ActionStep step, uint32_t code) = 0;

protected:
    ~IActionObserver() = default;
};

}  // namespace optimizer
