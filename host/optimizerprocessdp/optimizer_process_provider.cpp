#include "optimizerprocessdp/optimizer_process_provider.h"

#include <algorithm>
#include <utility>

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
    if (state == SettingsFileState::Ok || state == SettingsFileState::Absent) _Take(fresh);
    return state != SettingsFileState::Unreadable;
}

void COptimizerProcessProvider::_Take(const ApplicationLists& fresh) {
    ApplicationLists before;
    {
        const CriticalSectionGuard guard(m_lock);
        before = std::exchange(m_lists, fresh);
    }
    for (const profile which : kListedProfiles)
        _TellChanges(which, *before.Of(which), *fresh.Of(which));
}

void COptimizerProcessProvider::_TellChanges(profile which, const Applications& before,
                                             const Applications& now) {
    TRACE_SCOPE("COptimizerProcessProvider::_TellChanges");
    const Applications addedOnes = EntriesMissingIn(before, now);
    const Applications removedOnes = EntriesMissingIn(now, before);
    if (addedOnes.empty() && removedOnes.empty()) return;
    TRACE_LINE(trace::kInformation, L"profile=%u added=%u removed=%u", which,
               static_cast<uint32_t>(addedOnes.size()), static_cast<uint32_t>(removedOnes.size()));

    // An entry that went while another one covers it is still included.
    Applications goneOnes;
    std::copy_if(removedOnes.begin(), removedOnes.end(), std::back_inserter(goneOnes),
                 [&](const Application& one) { return !Includes(now, one.name, one.product); });
    ProcessEntryList added;
    ProcessEntryList gone;
    Fill(added, addedOnes);
    Fill(gone, goneOnes);
    constexpr auto kEntries = ProcessEventKind::Entries;
    constexpr auto kList = ProcessEventKind::List;
    m_detailsObservers.ForEach([&](IOptimizerProcessDPDetailsEvents* observer) {
        if (!addedOnes.empty()) observer->OnProcessesAdded(&kEntries, &which, &added);
        if (!goneOnes.empty()) observer->OnProcessesRemoved(&kEntries, &which, &gone);
    });
    m_listObservers.ForEach(
        [&](IOptimizerProcessDPEvents* observer) { observer->OnProcessesListChanged(&kList, &which); });
}

}  // namespace host
