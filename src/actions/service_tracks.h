// What the services action keeps of each service: what there is to return to, and what is its own doing.
#pragma once

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "actions/windows_services_params.h"
#include "frame/critical_section.h"

namespace optimizer {

/// The values of one field that count as the action's own doing: the one in force, as found or as set, and
/// those that a command under way may still lead to. A field with any other value was set by somebody else.
/// The present parameters don't tell that: what they leave alone may be an earlier profile's doing.
template <class Value>
class OwnValues {
public:
    /// The field is at this value, as found or by the action's doing.
    void Hold(Value value);
    /// As Hold; but what can't be told, or is still on its way and may end anywhere, leaves nothing that
    /// could be somebody else's.
    void Hold(const Seen<Value>& seen);
    void HoldAll();
    /// A command that leads to this value is about to be given. It may arrive late, or not at all.
    void Give(Value value, uint32_t nowMs);
    /// The field has settled at this value. Nothing else is under way when the last command led there.
    void Arrive(Value value);
    bool Has(Value value) const { return (m_values & _Bit(value)) != 0; }
    /// Whether a command that was taken moments ago may not show yet.
    bool MayMove(uint32_t nowMs) const { return m_given.has_value() && nowMs - m_givenMs < kShowsWithinMs; }

private:
    static constexpr uint32_t kShowsWithinMs = 1000;

    static uint32_t _Bit(Value value) { return 1U << static_cast<uint32_t>(value); }

    uint32_t m_values = 0;         // a bit for each
    std::optional<Value> m_given;  // the last command's, until it is seen to have arrived
    uint32_t m_givenMs = 0;
};

/// How a field stands to its note.
enum class Standing {
    Back,    // there is nothing to do
    Ours,    // the action's doing, to be put back
    Theirs,  // somebody else's wish: it stays
};

/// One field of a service.
template <class Value>
struct FieldTrack {
    /// What was found before the first change. A pending value counts as what it leads to.
    void Note(const Seen<Value>& found);
    /// Judges what was seen and learns from it: somebody else's wish is what there is to return to from now
    /// on. The look must not be older than the last command.
    Standing Look(const Seen<Value>& seen);

    Value noted = Value::None;  // to return to; None: it couldn't be read, and isn't changed
    OwnValues<Value> own;
};

struct ServiceTrack {
    template <class Value>
    FieldTrack<Value>& Of() {
        if constexpr (std::is_same_v<Value, ServiceStatus>) {
            return status;
        } else {
            return startup;
        }
    }
    ServiceRecord Record() const { return {name, status.noted, startup.noted}; }

    std::wstring name;
    FieldTrack<ServiceStatus> status;
    FieldTrack<ServiceStartup> startup;
    bool isHandedOver = false;  // noted by an earlier run, and not looked at yet
    bool isLeaving = false;     // no longer wanted: the track ends when the service is back
};

/// The tracks of all services, a service each; upper and lower case of names are the same. Any thread; its
/// lock is innermost, and held for moments only.
class CServiceTracks {
public:
    /// From here on there are values to return to, if only none.
    void Begin();
    bool HasBegun() const;
    /// Replaces what there is by the notes of an earlier run. Whatever the machine is at counts as own.
    void Load(const WindowsServicesParams& noted);
    WindowsServicesParams Records() const;
    std::vector<std::wstring> Names() const;
    /// Nothing is noted where there is no track.
    ServiceRecord RecordOf(const std::wstring& name);
    void Add(const ServiceTrack& track);
    void Remove(const std::wstring& name);
    /// Removes the track if its service is leaving. False when it isn't.
    bool RemoveLeaving(const std::wstring& name);

    /// Runs `work` on the track of that name, under the lock. False when there is none.
    template <class Work>
    bool Visit(const std::wstring& name, Work work) {
        const CriticalSectionGuard guard(m_lock);
        ServiceTrack* const track = _Find(name);
        if (track != nullptr) work(*track);
        return track != nullptr;
    }

private:
    ServiceTrack* _Find(const std::wstring& name) REQUIRES(m_lock);

    mutable CCriticalSection m_lock;
    bool m_hasBegun GUARDED_BY(m_lock) = false;
    std::vector<ServiceTrack> m_tracks GUARDED_BY(m_lock);
};

}  // namespace optimizer
