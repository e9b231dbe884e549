#include "plugins/process_provider.h"

#include <algorithm>

#include "frame/guarded.h"
#include "frame/json.h"
#include "frame/module_path.h"
#include "frame/object_factory.h"
#include "frame/trace.h"
#include "iservconfig/settings_file.h"

namespace host {

namespace json = optimizer::json;
namespace trace = optimizer::trace;

using optimizer::CriticalSectionGuard;

namespace {

constexpr wchar_t kSettingsFile[] = L"settings\\processdp.json";
constexpr uint32_t kDefaultPeriodMs = 250;
constexpr uint32_t kShortestPeriodMs = 10;
constexpr uint32_t kLongestPeriodMs = 10000;

uint32_t ReadPeriod() {
    TRACE_SCOPE("CProcessProvider::ReadPeriod");
    picojson::value root;
    std::wstring failure;
    const SettingsFileState state =
        ReadSettingsFile(optimizer::GetModuleFolder() + kSettingsFile, root, failure);
    if (state == SettingsFileState::Absent) return kDefaultPeriodMs;
    if (state != SettingsFileState::Ok) {
        TRACE_LINE(trace::kWarning, L"%s", failure.c_str());
        return kDefaultPeriodMs;
    }
    const auto period = json::ToUint32(json::Find(root, "periodMs"));
    if (period && *period >= kShortestPeriodMs && *period <= kLongestPeriodMs) return *period;
    TRACE_LINE(trace::kWarning, L"%s: \"periodMs\" is not a number from %u to %u", kSettingsFile,
               kShortestPeriodMs, kLongestPeriodMs);
    return kDefaultPeriodMs;
}

}  // namespace

CProcessProvider::CProcessProvider()
    : m_periodMs(kDefaultPeriodMs),
      m_stop(CreateEventW(nullptr, TRUE, FALSE, nullptr)),
      m_registered(CreateEventW(nullptr, FALSE, FALSE, nullptr)),
      m_last(std::make_shared<ProcessList>()) {
    m_log.Get();
}

CProcessProvider::~CProcessProvider() {
    Stop();
}

void* CProcessProvider::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<IProcessProvider>(this, iid);
}

uint32_t CProcessProvider::Init(IServMain*) {
    return optimizer::Guarded([this] {
        m_periodMs = ReadPeriod();
        return uint32_t{ERROR_SUCCESS};
    });
}

void CProcessProvider::UnInit() {
    const CriticalSectionGuard guard(m_lock);
    m_registrations.clear();
}

uint32_t CProcessProvider::Start() {
    TRACE_SCOPE("CProcessProvider::Start");
    if (!m_stop || !m_registered) return ERROR_OUTOFMEMORY;
    if (m_thread.joinable()) return ERROR_SUCCESS;
    return optimizer::Guarded([this] {
        ResetEvent(m_stop.Get());
        m_thread = std::thread([this] { _Run(); });
        SetEvent(m_registered.Get());  // for the registrations that outlived a Stop
        return uint32_t{ERROR_SUCCESS};
    });
}

uint32_t CProcessProvider::Stop() {
    TRACE_SCOPE("CProcessProvider::Stop");
    if (!m_thread.joinable()) return ERROR_SUCCESS;
    SetEvent(m_stop.Get());
    m_thread.join();
    return ERROR_SUCCESS;
}

bool CProcessProvider::RegisterProcessNotifyCallback(ProcessNotifyFunction* function, void* context,
                                                     uint64_t) {
    TRACE_SCOPE("CProcessProvider::RegisterProcessNotifyCallback");
    if (function == nullptr) return false;
    const uint32_t error = optimizer::Guarded([&] {
        const CriticalSectionGuard guard(m_lock);
        if (_Find(function, context) != m_registrations.end()) return uint32_t{ERROR_ALREADY_EXISTS};
        _Look();
        m_registrations.push_back({function, context, m_last});
        return uint32_t{ERROR_SUCCESS};
    });
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"The registration failed: %u", error);
        return false;
    }
    SetEvent(m_registered.Get());
    return true;
}

bool CProcessProvider::UnregisterProcessNotifyCallback(ProcessNotifyFunction* function, void* context) {
    TRACE_SCOPE("CProcessProvider::UnregisterProcessNotifyCallback");
    const CriticalSectionGuard guard(m_lock);
    const auto found = _Find(function, context);
    if (found == m_registrations.end()) return false;
    m_registrations.erase(found);
    return true;
}

std::vector<CProcessProvider::Registration>::iterator CProcessProvider::_Find(ProcessNotifyFunction* function,
                                                                              void* context) {
    return std::find_if(m_registrations.begin(), m_registrations.end(), [&](const Registration& one) {
        return one.function == function && one.context == context;
    });
}

void CProcessProvider::_Run() {
    TRACE_SCOPE("CProcessProvider::_Run");
    const HANDLE events[] = {m_stop.Get(), m_registered.Get()};
    DWORD timeoutMs = INFINITE;
    for (;;) {
        const DWORD waited = WaitForMultipleObjects(2, events, FALSE, timeoutMs);
        if (waited == WAIT_OBJECT_0 || waited == WAIT_FAILED) return;
        static_cast<void>(optimizer::Guarded([&] {
            const CriticalSectionGuard guard(m_lock);
            if (waited == WAIT_TIMEOUT) _Compare();
            timeoutMs = m_registrations.empty() ? INFINITE : m_periodMs;
            return uint32_t{ERROR_SUCCESS};
        }));
    }
}

void CProcessProvider::_Look() {
    TRACE_SCOPE("CProcessProvider::_Look");
    auto now = std::make_shared<ProcessList>();
    const uint32_t error = TakeProcessList(*m_last, *now);
    if (error == ERROR_SUCCESS) {
        m_last = std::move(now);
    } else {
        TRACE_LINE(trace::kWarning, L"The processes can't be listed: 0x%x", error);
    }
}

void CProcessProvider::_Compare() {
    if (m_registrations.empty()) {
        m_last = std::make_shared<ProcessList>();  // lets go of the processes
        return;
    }
    _Look();
    const auto now = m_last;
    // All of it before anything is told: a shortage of memory in here leaves every registration with what it
    // has seen, and the next comparison makes up for it. Copies, as a function may take its registration
    // back.
    std::vector<News> news;
    for (const Registration& one : m_registrations)
        news.push_back({one, MissingIn(*now, *one.seen), MissingIn(*one.seen, *now)});
    for (Registration& one : m_registrations)
        one.seen = now;
    for (const News& one : news) {
        for (const auto& ended : one.ended)
            _Tell(one.registration, *ended, _PROCESS_NOTIF::kEnded);
        for (const auto& started : one.started)
            _Tell(one.registration, *started, 0);
    }
}

void CProcessProvider::_Tell(const Registration& registration, const RunningProcess& running,
                             uint32_t flags) {
    if (_Find(registration.function, registration.context) == m_registrations.end()) return;
    _PROCESS_NOTIF record = {};
    record.pid = running.pid;
    record.parentPid = running.parentPid;
    record.flags = flags;
    record.name = running.path.empty() ? nullptr : running.path.c_str();
    registration.function(&record, registration.context);
}

}  // namespace host
