#include "bootlauncher/boot_launcher_exec.h"

#include <ctime>
#include <memory>
#include <utility>

#include <windows.h>

#include "bootlauncher/launch.h"
#include "border/product_info.h"
#include "frame/exported_object.h"
#include "frame/guarded.h"
#include "frame/module_path.h"
#include "frame/trace.h"
#include "frame/work_item.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kTimerLabel = L"bootlauncher_item";
constexpr uint32_t kPeriodMs = 300000;  // also the delay of the first run
constexpr REGSAM kAccess = KEY_ALL_ACCESS | KEY_WOW64_64KEY;

std::wstring ReadProductName() {
    TRACE_SCOPE("CBootLauncherExec::ReadProductName");
    ExportedObject<IProductInfo> product;
    const uint32_t error =
        product.Load(GetModuleFolder() + L"IServConfig.dll", L"productinfo", kConfigurationObjectIdentifier);
    if (error != ERROR_SUCCESS) return L"<error-interface-not-inited>";
    const wchar_t* const name = product.Get()->GetValue(0, L"BASE");
    return name != nullptr ? name : L"";
}

}  // namespace

void CBootLauncherExec::Init(IServMain* main) {
    TRACE_SCOPE("CBootLauncherExec::Init");
    if (main != nullptr) m_main = main;
}

void CBootLauncherExec::UnInit() {
    TRACE_SCOPE("CBootLauncherExec::UnInit");
    Stop();  // the timer must not outlive the object
    m_main = nullptr;
    m_queue = nullptr;
    m_startTime = 0;
    // Assigning an empty text would keep the memory, which nobody frees afterwards.
    std::wstring().swap(m_productName);
}

void CBootLauncherExec::Start() {
    TRACE_SCOPE("CBootLauncherExec::Start");
    Stop();  // of two timers one would outlive the object
    if (m_main == nullptr) {
        TRACE_LINE(trace::kError, L"ServMain is null!");
        return;
    }
    m_queue = m_main->GetEventQueue();
    if (m_queue == nullptr) {
        TRACE_LINE(trace::kError, L"EventQueue is null!");
        return;
    }
    if (m_main->GetComponentManager() == nullptr) {
        TRACE_LINE(trace::kError, L"Component manager is null!");
        return;
    }
    m_productName = ReadProductName();
    TRACE_LINE(trace::kInformation, L"Product name is: '%s'", m_productName.c_str());
    m_startTime = _time64(nullptr);

    auto item = std::make_unique<EqWorkItemMember0<void, CBootLauncherExec>>(this, &CBootLauncherExec::_Run);
    const uint32_t error =
        m_queue->PostTimer(kTimerLabel, &m_timer, kPeriodMs, kRepeatForever, item.get(), 0, 0, 0);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kError, L"Could not create timer. Error: %d", error);
        return;
    }
    static_cast<void>(item.release());  // the queue's from here on
}

void CBootLauncherExec::Stop() {
    TRACE_SCOPE("CBootLauncherExec::Stop");
    if (m_queue == nullptr || m_timer == nullptr) return;
    const QueueHandle timer = std::exchange(m_timer, nullptr);
    m_queue->Cancel(timer);
    m_queue->Wait(timer, kWaitForever);
    m_queue->CloseItem(timer);
}

/// The timer goes on after a success: each later run finds the key and ends.
void CBootLauncherExec::_Run() {
    TRACE_SCOPE("CBootLauncherExec::_Run");
    const std::wstring command = L"BootLauncher.exe /time:" + std::to_wstring(m_startTime);
    if (_AlreadyExecuted()) {
        TRACE_LINE(trace::kInformation, L"BootLauncher already executed");
        return;
    }
    const uint32_t error = Launch(command);
    if (error == ERROR_SUCCESS) {
        _MarkAsExecuted();
        TRACE_LINE(trace::kInformation, L"Process = '%s' created", command.c_str());
    } else {
        TRACE_LINE(trace::kError, L"Process = '%s' could not be created. Error = %d", command.c_str(), error);
    }
}

/// The misspelling is the key's name: a corrected one would start the launcher a second time.
std::wstring CBootLauncherExec::_Key() const {
    return L"Software\\" + m_productName + L"\\BootLanuncher.executed";
}

bool CBootLauncherExec::_AlreadyExecuted() const {
    TRACE_SCOPE("CBootLauncherExec::_AlreadyExecuted");
    const std::wstring path = _Key();
    TRACE_LINE(trace::kInformation, L"Check key: '%s'", path.c_str());
    RegistryKey key;
    return RegOpenKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, kAccess, key.Receive()) == ERROR_SUCCESS;
}

void CBootLauncherExec::_MarkAsExecuted() const {
    TRACE_SCOPE("CBootLauncherExec::_MarkAsExecuted");
    const std::wstring path = _Key();
    TRACE_LINE(trace::kInformation, L"Write volatile key %s", path.c_str());
    RegistryKey key;
    const LSTATUS error = RegCreateKeyExW(HKEY_CURRENT_USER, path.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                                          kAccess, nullptr, key.Receive(), nullptr);
    if (error == ERROR_SUCCESS) {
        TRACE_LINE(trace::kInformation, L"Registry key = '%s' was created (volatile)", path.c_str());
    } else {
        TRACE_LINE(trace::kError, L"Registry key = '%s' could not be created (volatile).Error: %d",
                   path.c_str(), error);
    }
}

}  // namespace optimizer
