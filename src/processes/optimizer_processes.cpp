#include "processes/optimizer_processes.h"

#include <memory>
#include <utility>

#include "frame/guarded.h"
#include "frame/plugin_request.h"
#include "frame/trace.h"
#include "frame/vx_string.h"

namespace optimizer {

namespace {

using profiles::profile;

constexpr const wchar_t* kOptimizerProcessDp = L"optimizerprocessdp";

struct EnumRelease {
    void operator()(ProcessEntryEnum* enumerator) const { enumerator->Release(); }
};

bool HasList(profile which) {
    return which == profile::Work || which == profile::Game || which == profile::Movie;
}

const wchar_t* TrueFalse(bool value) {
    return value ? L"true" : L"false";
}

std::wstring TextOf(const wchar_t* text) {
    return text != nullptr ? text : L"";
}

}  // namespace

bool COptimizerProcesses::Init() {
    TRACE_SCOPE("COptimizerProcesses::Init");
    CriticalSectionGuard guard(m_lock);
    if (m_main == nullptr) return false;
    m_provider = RequestPlugin<IOptimizerProcessDP>(m_main->GetComponentManager(), kOptimizerProcessDp);
    if (m_provider == nullptr) return false;
    m_cache.clear();  // nobody told of changes meanwhile
    m_provider->RegisterListEvents(this);
    m_provider->RegisterDetailsEvents(this);
    return true;
}

void COptimizerProcesses::Uninit() {
    TRACE_SCOPE("COptimizerProcesses::Uninit");
    IOptimizerProcessDP* provider = nullptr;
    {
        CriticalSectionGuard guard(m_lock);
        provider = std::exchange(m_provider, nullptr);
    }
    if (provider == nullptr) return;
    // Without the lock: this waits for an event in flight, which takes it.
    provider->UnregisterListEvents(this);
    provider->UnregisterDetailsEvents(this);
    if (IComponentManager* const components = m_main->GetComponentManager()) {
        components->ReleasePlugin(kOptimizerProcessDp);
    }
}

void COptimizerProcesses::SetCurrentProfile(const profile* next) {
    TRACE_SCOPE("COptimizerProcesses::SetCurrentProfile");
    CriticalSectionGuard guard(m_lock);
    TRACE_LINE(trace::kInformation, L"crt=%d next=%d", m_profile, *next);
    if (*next == m_profile) return;
    m_profile = *next;
    m_cache.clear();
    // A profile without a list leaves the kind as it was.
    if (HasList(m_profile)) m_list = static_cast<ProcessListKind>(m_profile);
}

bool COptimizerProcesses::GetStatus(const std::wstring& name, const std::wstring& product) {
    CriticalSectionGuard guard(m_lock);
    // Most questions have an answer already: with nobody to read a trace, they don't pay for one.
    const bool* const known = trace::IsLive() ? nullptr : _FindKnown(name, product);
    return known != nullptr ? *known : _GetStatus(name, product);
}

/// Null for an application that wasn't asked for yet. There are no answers while the profile has no list.
const bool* COptimizerProcesses::_FindKnown(const std::wstring& name, const std::wstring& product) const {
    const auto known = m_cache.find(std::pair<const std::wstring&, const std::wstring&>(name, product));
    return known != m_cache.end() ? &known->second : nullptr;
}

bool COptimizerProcesses::_GetStatus(const std::wstring& name, const std::wstring& product) {
    TRACE_SCOPE("COptimizerProcesses::GetStatus");
    TRACE_LINE(trace::kInformation, L"%s %s", name.c_str(), product.c_str());
    if (m_profile == profile::Disabled || m_profile == profile::Battery) {
        TRACE_LINE(trace::kInformation, L"invalid profile %d", m_profile);
        return false;
    }
    if (const bool* const known = _FindKnown(name, product)) {
        TRACE_LINE(trace::kInformation, L"cached result=%s", TrueFalse(*known));
        return *known;
    }
    if (m_provider == nullptr) return false;
    // Still under the lock, so that the answer is kept for the list that it was given for.
    const vx::String vxName(name.c_str());
    const vx::String vxProduct(product.c_str());
    bool result = false;
    const uint32_t error = m_provider->IsIncluded(&m_list, &vxName, &vxProduct, &result);
    if (error != 0) {
        // Not kept: the next call asks again.
        TRACE_LINE(trace::kError, L"OptimizerProcessDP->IsIncluded failed 0x%x", error);
        return false;
    }
    TRACE_LINE(trace::kInformation, L"OptimizerProcessDP->IsIncluded result %s", TrueFalse(result));
    m_cache.emplace(SnapshotKey(name, product), result);
    return result;
}

void COptimizerProcesses::OnProcessesListChanged(const ProcessEventKind* kind, const profile* which) {
    TRACE_SCOPE("COptimizerProcesses::OnProcessesListChanged");
    if (*kind != ProcessEventKind::List) return;
    {
        CriticalSectionGuard guard(m_lock);
        if (HasList(m_profile) && *which == m_profile) m_cache.clear();
    }
    _Tell();
}

void COptimizerProcesses::OnProcessesAdded(const ProcessEventKind*, const profile* which,
                                           OptimizerProcessList* added) {
    TRACE_SCOPE("COptimizerProcesses::OnProcessesAdded");
    _Store(*which, added, true);
    _Tell();
}

void COptimizerProcesses::OnProcessesRemoved(const ProcessEventKind*, const profile* which,
                                             OptimizerProcessList* removed) {
    TRACE_SCOPE("COptimizerProcesses::OnProcessesRemoved");
    // Kept as a negative answer and not erased, which spares the question.
    _Store(*which, removed, false);
    _Tell();
}

void COptimizerProcesses::_Store(profile which, OptimizerProcessList* entries, bool included) {
    TRACE_SCOPE("COptimizerProcesses::_Store");
    static_cast<void>(Guarded([&] {
        CriticalSectionGuard guard(m_lock);
        if (!HasList(m_profile) || which != m_profile || entries == nullptr) return uint32_t{0};
        const std::unique_ptr<ProcessEntryEnum, EnumRelease> walk(entries->CreateConstEnum());
        for (; walk && walk->HasCurrent(); walk->MoveNext()) {
            const IOptimizerProcessEntry* const entry = walk->Current();
            SnapshotKey key(TextOf(entry->GetApplicationName()), TextOf(entry->GetProductName()));
            TRACE_LINE(trace::kInformation,
                       included ? L"Add to cache TRUE %s %s" : L"Add to cache FALSE %s %s", key.first.c_str(),
                       key.second.c_str());
            m_cache.insert_or_assign(std::move(key), included);
        }
        return uint32_t{0};
    }));
}

/// Also when the list isn't the current profile's.
void COptimizerProcesses::_Tell() {
    if (m_observer == nullptr) return;
    static_cast<void>(Guarded([&] {
        m_observer->OnOptimizerProcessesChanged();
        return uint32_t{0};
    }));
}

}  // namespace optimizer
