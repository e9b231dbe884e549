#include "boottime/boot_time_plugin.h"

#include <utility>

#include "border/product_info.h"
#include "frame/guarded.h"
#include "frame/object_factory.h"
#include "frame/settings_folder.h"
#include "frame/trace.h"
#include "frame/users_library.h"

namespace boottime {

namespace trace = optimizer::trace;
using optimizer::CriticalSectionGuard;
using optimizer::CUserLogon;
using optimizer::VxUsersLibrary;

namespace {

constexpr const wchar_t* kProcessDp = L"processdp";
constexpr const wchar_t* kLoadUsage = L"LoadUsage";
constexpr const wchar_t* kProductInfo = L"productinfo";
constexpr uint32_t kNoHost = 0xFFFFFFFF;  // -1

}  // namespace

CBootTimePlugin::~CBootTimePlugin() {
    UnInit();
}

void* CBootTimePlugin::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<IBootTime>(this, iid);
}

uint32_t CBootTimePlugin::Init(IServMain* main) {
    TRACE_SCOPE("CBootTimePlugin::Init");
    uint32_t error = optimizer::Guarded([&] { return _Init(main); });
    const uint32_t folderError =
        optimizer::Guarded([&] { return GetSettingsFolderPath(), uint32_t{ERROR_SUCCESS}; });
    if (error == ERROR_SUCCESS) error = folderError;
    if (error != ERROR_SUCCESS) UnInit();
    const uint32_t monitorError =
        optimizer::Guarded([&] { return m_monitor.Init(m_processDp, &m_data), uint32_t{ERROR_SUCCESS}; });
    if (error == ERROR_SUCCESS && monitorError != ERROR_SUCCESS) {
        error = monitorError;
        UnInit();
    }
    m_disk.SetLoadUsage(m_loadUsage);
    m_analyser.SetData(&m_data);
    return error;
}

uint32_t CBootTimePlugin::_Init(IServMain* main) {
    TRACE_SCOPE("CBootTimePlugin::Init");
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"IServMain is null!");
        return kNoHost;
    }
    UnInit();  // a second Init starts over
    VxUsersLibrary::Instance().Bind();
    m_tracksUsersInit = true;  // first, so that UnInit gives back what a call that throws has taken
    CUserLogon::Instance().Init(main);
    m_components = main->GetComponentManager();
    if (m_components == nullptr) {
        TRACE_LINE(trace::kError, L"IPlgComponentManager is null");
        return kNoHost;
    }
    uint32_t error = _Request(kProcessDp, m_processDp);
    if (error == ERROR_SUCCESS) error = _Request(kLoadUsage, m_loadUsage);
    if (error != ERROR_SUCCESS) return error;
    m_stopEvent.Reset(CreateEventW(nullptr, TRUE, FALSE, nullptr));
    // Not an error, on purpose: Start then has nothing to run, and the getters keep their first answer.
    if (!m_stopEvent) TRACE_LINE(trace::kError, L"CreateEvent failed");
    return ERROR_SUCCESS;
}

template <class Interface>
uint32_t CBootTimePlugin::_Request(const wchar_t* name, Interface*& plugin) {
    TRACE_SCOPE("CBootTimePlugin::Init");
    void* out = nullptr;
    const uint32_t error = m_components->GetPlugin(name, &Interface::kIdentifier, &out);
    if (error == ERROR_SUCCESS) {
        plugin = static_cast<Interface*>(out);
    } else {
        TRACE_LINE(trace::kError, L"GetPlugin %s failed 0x%x", name, error);
    }
    return error;
}

void CBootTimePlugin::_Release(const wchar_t* name, IServPlugin* plugin) {
    if (plugin != nullptr) m_components->ReleasePlugin(name);
}

void CBootTimePlugin::UnInit() {
    TRACE_SCOPE("CBootTimePlugin::UnInit");
    _EndProcessingThread();  // a host may leave Stop out
    m_monitor.UnInit();
    m_disk.SetLoadUsage(nullptr);
    _Release(kProcessDp, std::exchange(m_processDp, nullptr));
    _Release(kLoadUsage, std::exchange(m_loadUsage, nullptr));
    m_components = nullptr;
    m_stopEvent.Reset();
    if (std::exchange(m_tracksUsersStarted, false)) CUserLogon::Instance().Stop();
    if (!std::exchange(m_tracksUsersInit, false)) return;
    CUserLogon::Instance().Uninit();
    VxUsersLibrary::Instance().Unbind();
}

uint32_t CBootTimePlugin::Start() {
    TRACE_SCOPE("CBootTimePlugin::Start");
    if (!m_tracksUsersStarted) m_tracksUsersStarted = CUserLogon::Instance().Start() == ERROR_SUCCESS;
    _StartProcessingThread();
    // Also without a thread: the getters say then that the measurement goes on, until the plug-in is stopped.
    return ERROR_SUCCESS;
}

void CBootTimePlugin::_StartProcessingThread() {
    TRACE_SCOPE("CBootTimePlugin::StartProcessingThread");
    if (m_thread) return;
    // A thread without the event could not be stopped.
    if (m_stopEvent) {
        m_thread.Reset(CreateThread(nullptr, 0, &CBootTimePlugin::_ProcessingThread, this, 0, nullptr));
    }
    if (!m_thread) TRACE_LINE(trace::kError, L"Error creating monitor thread");
}

uint32_t CBootTimePlugin::Stop() {
    TRACE_SCOPE("CBootTimePlugin::Stop");
    if (!SetEvent(m_stopEvent.Get())) {
        const DWORD error = GetLastError();
        TRACE_LINE(trace::kWarning, L"SetEvent MonitorEvent failed error code %lu", error);
    }
    m_monitor.Stop();
    if (m_thread) {
        WaitForSingleObject(m_thread.Get(), INFINITE);
        // Once more: the thread may have come to its sources after they were stopped.
        m_monitor.Stop();
    }
    if (std::exchange(m_tracksUsersStarted, false)) CUserLogon::Instance().Stop();
    return ERROR_SUCCESS;
}

void CBootTimePlugin::_EndProcessingThread() {
    if (m_thread && WaitForSingleObject(m_thread.Get(), 0) != WAIT_OBJECT_0) Stop();
    m_thread.Reset();
}

uint32_t CBootTimePlugin::GetBootTime(uint32_t* timeMs) {
    const uint32_t status = _OverallStatus();
    if (status != kResultsThere) return status;
    if (timeMs == nullptr) return ERROR_INVALID_PARAMETER;
    return static_cast<uint32_t>(m_monitor.GetBootTime(timeMs));
}

uint32_t CBootTimePlugin::GetTotalBootImpact(ProcessCounters* total) {
    const uint32_t status = _OverallStatus();
    if (status != kResultsThere) return status;
    if (total == nullptr) return ERROR_INVALID_PARAMETER;
    return static_cast<uint32_t>(m_analyser.GetTotalBootImpact(total));
}

uint32_t CBootTimePlugin::GetBootImpact(vx::IList<ProcessImpact>* list, ProcessImpact* filter) {
    const uint32_t status = _OverallStatus();
    if (status != kResultsThere) return status;
    if (list == nullptr) return kNoResults;
    return optimizer::Guarded([&] { return m_analyser.GetBootImpact(list, filter); });
}

uint32_t CBootTimePlugin::GetDiskSpeed(DiskSpeed* speed) {
    if (speed == nullptr) return ERROR_INVALID_PARAMETER;
    return static_cast<uint32_t>(m_disk.GetDiskSpeed(speed));
}

uint32_t CBootTimePlugin::AddEventsObserver(IBootTimeEvents* observer) {
    return observer != nullptr ? m_events.Add(observer) : uint32_t{ERROR_INVALID_PARAMETER};
}

uint32_t CBootTimePlugin::RemoveEventsObserver(IBootTimeEvents* observer) {
    return m_events.Remove(observer, 0);
}

void CBootTimePlugin::GetSettingsFolderPath() {
    TRACE_SCOPE("CBootTimePlugin::GetSettingsFolderPath");
    std::wstring dataFolder;
    if (m_components == nullptr) {
        TRACE_LINE(trace::kError, L"Component Manager is null!");
    } else {
        void* plugin = nullptr;
        if (m_components->GetPlugin(kProductInfo, &IProductInfo::kIdentifier, &plugin) != ERROR_SUCCESS) {
            TRACE_LINE(trace::kError, L"Error getting plugin: %s", kProductInfo);
        } else {
            dataFolder = optimizer::DataFolder(static_cast<IProductInfo*>(plugin));
            m_components->ReleasePlugin(kProductInfo);
        }
    }
    // Two base folders, on purpose: installations have results in both.
    m_settingsFolder =
        dataFolder.empty() ? optimizer::HostSettingsFolder() : optimizer::SettingsFolder(dataFolder);
    TRACE_LINE(trace::kInformation, L"settingsFolderPath=%s", m_settingsFolder.c_str());
}

uint32_t CBootTimePlugin::_OverallStatus() {
    const CriticalSectionGuard guard(m_statusLock);
    return m_overallStatus;
}

}  // namespace boottime
