#include "actions/service_tracks.h"

#include <algorithm>
#include <cwchar>

namespace optimizer {

template <class Value>
void OwnValues<Value>::Hold(Value value) {
    m_values = _Bit(value);
    m_given.reset();
}

template <class Value>
void OwnValues<Value>::Hold(const Seen<Value>& seen) {
    if (seen.isSettled && seen.value != Value::None) {
        Hold(seen.value);
    } else {
        HoldAll();
    }
}

template <class Value>
void OwnValues<Value>::HoldAll() {
    m_values = ~0U;
    m_given.reset();
}

template <class Value>
void OwnValues<Value>::Give(Value value, uint32_t nowMs) {
    m_values |= _Bit(value);
    m_given = value;
    m_givenMs = nowMs;
}

template <class Value>
void OwnValues<Value>::Arrive(Value value) {
    if (m_given == value) Hold(value);
}

template <class Value>
void FieldTrack<Value>::Note(const Seen<Value>& found) {
    noted = found.value;
    own.Hold(found);
}

template <class Value>
Standing FieldTrack<Value>::Look(const Seen<Value>& seen) {
    if (seen.value == Value::None) return Standing::Back;
    const bool isOwn = own.Has(seen.value);
    Standing standing = Standing::Back;
    if (noted != Value::None && noted != seen.value) {
        // What is still on its way was told to go there by nobody knows whom: the note is the safe side.
        standing = isOwn || !seen.isSettled ? Standing::Ours : Standing::Theirs;
    }
    if (standing == Standing::Theirs) noted = seen.value;
    if (seen.isSettled && isOwn) {
        own.Arrive(seen.value);
    } else if (seen.isSettled) {
        own.Hold(seen.value);
    }
    return standing;
}

template class OwnValues<ServiceStatus>;
template class OwnValues<ServiceStartup>;
template struct FieldTrack<ServiceStatus>;
template struct FieldTrack<ServiceStartup>;

void CServiceTracks::Begin() {
    const CriticalSectionGuard guard(m_lock);
    m_hasBegun = true;
}

bool CServiceTracks::HasBegun() const {
    const CriticalSectionGuard guard(m_lock);
    return m_hasBegun;
}

void CServiceTracks::Load(const WindowsServicesParams& noted) {
    const CriticalSectionGuard guard(m_lock);
    m_hasBegun = true;
    m_tracks.clear();
    for (const ServiceRecord& record : noted.services) {
        // The first one counts, as everywhere: two notes of one service would pull it both ways.
        if (_Find(record.name) != nullptr) continue;
        ServiceTrack track;
        track.name = record.name;
        track.status.noted = record.status;
        track.status.own.HoldAll();
        track.startup.noted = record.startup;
        track.startup.own.HoldAll();
        track.isHandedOver = true;
        m_tracks.push_back(track);
    }
}

WindowsServicesParams CServiceTracks::Records() const {
    const CriticalSectionGuard guard(m_lock);
    WindowsServicesParams records;
    for (const ServiceTrack& track : m_tracks)
        records.services.push_back(track.Record());
    return records;
}

std::vector<std::wstring> CServiceTracks::Names() const {
    const CriticalSectionGuard guard(m_lock);
    std::vector<std::wstring> names;
    for (const ServiceTrack& track : m_tracks)
        names.push_back(track.name);
    return names;
}

ServiceRecord CServiceTracks::RecordOf(const std::wstring& name) {
    ServiceRecord record;
    Visit(name, [&](const ServiceTrack& track) { record = track.Record(); });
    return record;
}

void CServiceTracks::Add(const ServiceTrack& track) {
    const CriticalSectionGuard guard(m_lock);
    m_tracks.push_back(track);
}

void CServiceTracks::Remove(const std::wstring& name) {
    const CriticalSectionGuard guard(m_lock);
    std::erase_if(m_tracks, [&](const ServiceTrack& track) { return IsSameName(track.name, name); });
}

bool CServiceTracks::RemoveLeaving(const std::wstring& name) {
    const CriticalSectionGuard guard(m_lock);
    const ServiceTrack* const track = _Find(name);
    if (track == nullptr || !track->isLeaving) return false;
    Remove(name);
    return true;
}

ServiceTrack* CServiceTracks::_Find(const std::wstring& name) {
    const auto found = std::ranges::find_if(
        m_tracks, [&](const ServiceTrack& track) { return IsSameName(track.name, name); });
    return found != m_tracks.end() ? &*found : nullptr;
}

}  // namespace optimizer
