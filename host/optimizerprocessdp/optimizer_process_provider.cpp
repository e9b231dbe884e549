#include "optimizerprocessdp/optimizer_process_provider.h"

#include <memory>
#include <utility>
#include <vector>

#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/settings_folder.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "frame/vx_string.h"
#include "optimizerprocessdp/application_file.h"
#include "optimizerprocessdp/folder_watch.h"
#include "optimizerprocessdp/process_entry.h"

namespace host {

namespace trace = optimizer::trace;

using optimizer::CriticalSectionGuard;
using optimizer::Guarded;

namespace {

constexpr uint32_t kRereadMs = 1000;  // after a file that somebody held

void Fill(ProcessEntryList& list, const Applications& applications) {
    for (const Application& one : applications) {
        if (list.PushBack(CProcessEntry(optimizer::ToLower(one.name), optimizer::ToLower(one.product))) != 0)
            throw std::bad_alloc();
    }
}

}  // namespace

/// What observers hear of one profile's list.
struct COptimizerProcessProvider::Change {
    /// Null when nothing changed.
    static std::unique_ptr<Change> Find(profile which, const Applications& before, const Applications& now) {
        const Applications addedOnes = EntriesMissingIn(before, now);
        Applications goneOnes = EntriesMissingIn(now, before);
        if (addedOnes.empty() && goneOnes.empty()) return nullptr;
        // An entry that went while another one covers it is still included.
        std::erase_if(goneOnes, [&](const Application& one) { return Includes(now, one.name, one.product); });
        auto change = std::make_unique<Change>();
        change->which = which;
        Fill(change->added, addedOnes);
        Fill(change->gone, goneOnes);
        return change;
    }

    profile which = profile::Disabled;
    ProcessEntryList added;
    ProcessEntryList gone;
};

COptimizerProcessProvider::COptimizerProcessProvider() : m_stop(CreateEventW(nullptr, TRUE, FALSE, nullptr)) {
    m_log.Get();
}

COptimizerProcessProvider::~COptimizerProcessProvider() {
    Stop();
}

void* COptimizerProcessProvider::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<IOptimizerProcessDP>(this, iid);
}

uint32_t COptimizerProcessProvider::Init(IServMain* main) {
    TRACE_SCOPE("COptimizerProcessProvider::Init");
    if (main == nullptr) return ERROR_INVALID_HANDLE;
    return Guarded([&] {
        m_folder = optimizer::SettingsFolder(main->GetComponentManager());
        _Read();
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerProcessProvider::Start() {
    TRACE_SCOPE("COptimizerProcessProvider::Start");
    if (!m_stop) return ERROR_OUTOFMEMORY;
    if (m_thread.joinable()) return ERROR_SUCCESS;
    return Guarded([this] {
        ResetEvent(m_stop.Get());
        m_thread = std::thread(
            [this] { static_cast<void>(Guarded([this] { return _Run(), uint32_t{ERROR_SUCCESS}; })); });
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerProcessProvider::Stop() {
    TRACE_SCOPE("COptimizerProcessProvider::Stop");
    if (!m_thread.joinable()) return ERROR_SUCCESS;
    SetEvent(m_stop.Get());
    m_thread.join();
    return ERROR_SUCCESS;
}

uint32_t COptimizerProcessProvider::IsIncluded(const ProcessListKind* list, const vx::String* name,
                                               const vx::String* product, bool* result) {
    TRACE_SCOPE("COptimizerProcessProvider::IsIncluded");
    if (list == nullptr || name == nullptr || product == nullptr || result == nullptr) {
        return ERROR_INVALID_PARAMETER;
    }
    return Guarded([&] {
        const CriticalSectionGuard guard(m_lock);
        // A list has the number of its profile.
        const Applications* const applications = m_lists.Of(static_cast<profile>(*list));
        if (applications == nullptr) return uint32_t{ERROR_INVALID_PARAMETER};
        *result = Includes(*applications, name->Text(), product->Text());
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t COptimizerProcessProvider::RegisterDetailsEvents(IOptimizerProcessDPDetailsEvents* observer) {
    return observer != nullptr ? m_detailsObservers.Add(observer) : uint32_t{ERROR_INVALID_PARAMETER};
}

uint32_t COptimizerProcessProvider::RegisterListEvents(IOptimizerProcessDPEvents* observer) {
    return observer != nullptr ? m_listObservers.Add(observer) : uint32_t{ERROR_INVALID_PARAMETER};
}

uint32_t COptimizerProcessProvider::UnregisterDetailsEvents(IOptimizerProcessDPDetailsEvents* observer) {
    return m_detailsObservers.Remove(observer, 0);
}

uint32_t COptimizerProcessProvider::UnregisterListEvents(IOptimizerProcessDPEvents* observer) {
    return m_listObservers.Remove(observer, 0);
}

void COptimizerProcessProvider::_Run() {
    TRACE_SCOPE("COptimizerProcessProvider::_Run");
    CFolderWatch watch(m_folder);
    bool isRead = false;
    do {
        // A shortage of memory mustn't end the watch.
        if (Guarded([&] { return isRead = _Read(), uint32_t{ERROR_SUCCESS}; }) != ERROR_SUCCESS)
            isRead = false;
    } while (watch.WaitForChange(m_stop.Get(), isRead ? INFINITE : kRereadMs));
}

/// False when it has to be tried again without a change.
bool COptimizerProcessProvider::_Read() {
    TRACE_SCOPE("COptimizerProcessProvider::_Read");
    ApplicationLists fresh;
    std::wstring failure;
    const SettingsFileState state = ReadApplications(m_folder + kApplicationsFile, fresh, failure);
    if (failure != m_failure && !failure.empty()) TRACE_LINE(trace::kWarning, L"%s", failure.c_str());
    m_failure = failure;
    if (state == SettingsFileState::Ok || state == SettingsFileState::Absent) _Take(std::move(fresh));
    return state != SettingsFileState::Unreadable;
}

void COptimizerProcessProvider::_Take(ApplicationLists fresh) {
    // The whole news before the exchange: a shortage of memory in here leaves the old lists, and the next
    // reading finds the same change.
    std::vector<std::unique_ptr<Change>> changes;
    {
        const CriticalSectionGuard guard(m_lock);
        for (const profile which : kListedProfiles) {
            if (auto change = Change::Find(which, *m_lists.Of(which), *fresh.Of(which)))
                changes.push_back(std::move(change));
        }
        std::swap(m_lists, fresh);
    }
    for (const auto& change : changes)
        _Tell(*change);
}

void COptimizerProcessProvider::_Tell(Change& change) {
    TRACE_SCOPE("COptimizerProcessProvider::_Tell");
    const profile which = change.which;
    TRACE_LINE(trace::kInformation, L"profile=%u added=%u gone=%u", which,
               static_cast<uint32_t>(change.added.GetCount()), static_cast<uint32_t>(change.gone.GetCount()));
    constexpr auto kEntries = ProcessEventKind::Entries;
    constexpr auto kList = ProcessEventKind::List;
    m_detailsObservers.ForEach([&](IOptimizerProcessDPDetailsEvents* observer) {
        if (change.added.GetCount() != 0) observer->OnProcessesAdded(&kEntries, &which, &change.added);
        if (change.gone.GetCount() != 0) observer->OnProcessesRemoved(&kEntries, &which, &change.gone);
    });
    m_listObservers.ForEach(
        [&](IOptimizerProcessDPEvents* observer) { observer->OnProcessesListChanged(&kList, &which); });
}

}  // namespace host
