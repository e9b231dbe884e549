// Which applications belong to which profile, as the host knows it.
#pragma once

#include "border/list.h"
#include "border/optimizer.h"
#include "border/plugin.h"
#include "border/string.h"

/// The lists of applications; a profile that isn't named here has none.
enum class ProcessListKind : uint32_t {
    Work = 1,
    Game = 2,
    Movie = 3,
};

/// What an event of the provider speaks of.
enum class ProcessEventKind : uint32_t {
    List = 1,     // the answers for a whole list may have changed
    Entries = 2,  // single entries that the user put in or took out
};

/// One application of a list. Texts are valid as long as the list.
struct IOptimizerProcessEntry {
    virtual void Reserved0() = 0;                           // 0
    virtual void Reserved1() = 0;                           // 1
    virtual void Reserved2() = 0;                           // 2
    virtual void Reserved3() = 0;                           // 3
    virtual void Reserved4() = 0;                           // 4
    virtual const wchar_t* GetApplicationName() const = 0;  // 5
    virtual void Reserved6() = 0;                           // 6
    virtual const wchar_t* GetProductName() const = 0;      // 7
};

using OptimizerProcessList = vx::IList<IOptimizerProcessEntry>;
using ProcessEntryEnum = vx::IConstListEnum<IOptimizerProcessEntry>;

/// Called on the provider's own thread. Pointers are valid during the call only. An observer must not
/// register or unregister from inside.
struct IOptimizerProcessDPEvents {
    virtual void OnProcessesListChanged(const ProcessEventKind* kind,
                                        const optimizer::profiles::profile* which) = 0;  // 0
};

/// As above, with the entries that came or went.
struct IOptimizerProcessDPDetailsEvents {
    virtual void OnProcessesAdded(const ProcessEventKind* kind, const optimizer::profiles::profile* which,
                                  OptimizerProcessList* added) = 0;  // 0
    virtual void OnProcessesRemoved(const ProcessEventKind* kind, const optimizer::profiles::profile* which,
                                    OptimizerProcessList* removed) = 0;  // 1
};

/// Plug-in "optimizerprocessdp". Any thread may call.
struct IOptimizerProcessDP : IServPlugin {
    static constexpr Identifier kIdentifier = {
        0x44536019, 0xb683, 0xa370, {0xb4, 0x41, 0x12, 0x15, 0x16, 0x7a, 0x02, 0xb5}};

    virtual void Reserved5() = 0;  // 5
    virtual void Reserved6() = 0;  // 6
    virtual void Reserved7() = 0;  // 7
    virtual void Reserved8() = 0;  // 8
    /// Whether a list includes the application. 0, or an error; `*result` is set on 0 only.
    virtual uint32_t IsIncluded(const ProcessListKind* list, const vx::String* name,
                                const vx::String* product,
                                bool* result) = 0;  // 9
    virtual void Reserved10() = 0;                  // 10
    /// 0, or 183 for an observer that is there already.
    virtual uint32_t RegisterDetailsEvents(IOptimizerProcessDPDetailsEvents* observer) = 0;  // 11
    virtual uint32_t RegisterListEvents(IOptimizerProcessDPEvents* observer) = 0;            // 12
    /// These two return when no call to the observer is in flight, so that a caller must not hold a lock that
    /// the observer takes.
    virtual uint32_t UnregisterDetailsEvents(IOptimizerProcessDPDetailsEvents* observer) = 0;  // 13
    virtual uint32_t UnregisterListEvents(IOptimizerProcessDPEvents* observer) = 0;            // 14
};
