#include "tests/boottime/boot_fixture.h"

#include <filesystem>

#include <psapi.h>

#include "frame/users_library.h"
#include "tests/support/simulated_users.h"

namespace test_support {

BootingMachine* g_boot = nullptr;

namespace {

constexpr DWORD kPassMs = 1000;

template <class Function>
Function* ExportOf(const wchar_t* library, const char* name) {
    return optimizer::GetExport<Function>(LoadLibraryW(library), name);
}

void Pass() {
    SimulatedScm::s_current->tick += kPassMs;
    g_boot->idleTicks += g_boot->idleTicksPerPass;
    for (auto& [pid, process] : g_boot->processes)
        process.kernelMs += process.cpuMsPerPass;
    if (++g_boot->passes == g_boot->logonPass) {
        const auto logOn = [](auto* observer) { observer->OnLogon(SimulatedScm::s_current->tick, L"ann"); };
        optimizer::CUserLogon::Instance().Observers().ForEach(logOn);
    }
    g_boot->onPass(g_boot->passes);
}

DWORD WINAPI Wait(HANDLE handle, DWORD timeoutMs) {
    if (timeoutMs == kPassMs && g_boot != nullptr) {
        g_boot->stopEvent = handle;
        Pass();
        timeoutMs = 0;
    }
    static auto* const real = ExportOf<decltype(WaitForSingleObject)>(L"kernel32.dll", "WaitForSingleObject");
    return real(handle, timeoutMs);
}

FILETIME ToFileTime(uint64_t ticks) {
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
}

void WINAPI SystemTime(FILETIME* time) {
    const int64_t nowMs = g_boot != nullptr ? g_boot->startedMs + SimulatedScm::s_current->tick : 0;
    *time = ToFileTime(static_cast<uint64_t>(nowMs) * 10000);
}

/// A handle is the pid; no real one is odd.
HANDLE WINAPI Open(DWORD access, BOOL, DWORD pid) {
    if (access != 0x410 || !g_boot->processes.contains(pid) || pid == g_boot->refused) return nullptr;
    ++g_boot->openProcesses;
    return reinterpret_cast<HANDLE>(uintptr_t{pid} * 2 + 1);
}

BOOL WINAPI Close(HANDLE handle) {
    static auto* const real = ExportOf<decltype(CloseHandle)>(L"kernel32.dll", "CloseHandle");
    if ((reinterpret_cast<uintptr_t>(handle) & 1) == 0) return real(handle);
    --g_boot->openProcesses;
    return TRUE;
}

BootProcess* Find(HANDLE handle) {
    const auto found = g_boot->processes.find(static_cast<uint32_t>(reinterpret_cast<uintptr_t>(handle) / 2));
    return handle != nullptr && found != g_boot->processes.end() ? &found->second : nullptr;
}

BOOL WINAPI Times(HANDLE handle, FILETIME*, FILETIME*, FILETIME* kernel, FILETIME* user) {
    const BootProcess* const process = Find(handle);
    if (process == nullptr) return FALSE;
    *kernel = ToFileTime(static_cast<uint64_t>(process->kernelMs) * 10000 + 9999);
    *user = ToFileTime(70000);
    return TRUE;
}

BOOL WINAPI Transfers(HANDLE handle, IO_COUNTERS* counters) {
    const uint64_t bytes = Find(handle)->bytes;
    *counters = {0, 0, 0, bytes, bytes / 2, 1};
    return TRUE;
}

HMODULE WINAPI ModuleHandle(const wchar_t* name) {
    HMODULE module = nullptr;
    const bool isSimulated = name != nullptr && std::wstring_view(name) == L"Advapi32.dll";
    if (isSimulated && !g_boot->notifies) return nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT, isSimulated ? nullptr : name, &module);
    return module;
}

}  // namespace

BootFixture::BootFixture() : m_log(*ExportOf<SimulatedEvents*()>(L"wevtapi.dll", "SimulatedLog")()) {
    m_log = {};
    g_boot = &m_machine;
    m_scm.tick = 20000;
    m_scm.sleepTakesTime = false;
    m_scm.services[L"RpcSs"].state = SERVICE_RUNNING;
    optimizer::VxUsersLibrary::Instance().Bind();
    SetSimulatedUser(L"", L"");
    m_product.folder = m_folder.Path();
    std::filesystem::create_directory(File(L""));
    m_host.manager.plugins = {
        {L"productinfo", &m_product}, {L"processdp", &m_processes}, {L"LoadUsage", &m_loadUsage}};
}

BootFixture::~BootFixture() {
    EXPECT_EQ(m_processes.function, nullptr);
    EXPECT_EQ(m_scm.openHandles + m_log.openHandles, 0);
    EXPECT_TRUE(optimizer::CUserLogon::Instance().Observers().IsEmpty());
    for (const auto& [name, count] : m_host.manager.references)
        EXPECT_EQ(count, 0) << "requests without a release";
    g_boot = nullptr;
}

void BootFixture::Deliver(const SimulatedEvent& event) {
    ExportOf<void(const SimulatedEvent*)>(L"wevtapi.dll", "DeliverEvent")(&event);
}

}  // namespace test_support

// Under the name of the system's: it is looked up in this program.
extern "C" __declspec(dllexport) DWORD WINAPI
    TellOfService(SC_HANDLE, DWORD, SERVICE_NOTIFYW*) __asm__("NotifyServiceStatusChangeW");

/// Tells of the running service at once, and of nothing at the calls after that.
DWORD WINAPI TellOfService(SC_HANDLE, DWORD mask, SERVICE_NOTIFYW* record) {
    EXPECT_TRUE(mask == 8 && record->dwVersion == 2);
    if (++test_support::g_boot->notices > 1) return SetEvent(test_support::g_boot->secondNotice.Get()) == 0;
    record->ServiceStatus.dwCurrentState = SERVICE_RUNNING;
    const auto call = [](ULONG_PTR told) {
        auto* const notification = reinterpret_cast<SERVICE_NOTIFYW*>(told);
        notification->pfnNotifyCallback(notification);
    };
    QueueUserAPC(call, GetCurrentThread(), reinterpret_cast<ULONG_PTR>(record));
    return 0;
}

// The linker takes these for the system's.
extern "C" {
BOOL WINAPI GetSystemTimes(FILETIME* idle, FILETIME*, FILETIME*) {
    *idle = test_support::ToFileTime(test_support::g_boot->idleTicks);
    return TRUE;
}

BOOL WINAPI K32EnumProcesses(DWORD* pids, DWORD sizeBytes, DWORD* usedBytes) {
    EXPECT_EQ(sizeBytes, 4096U);
    *usedBytes = 0;
    for (const auto& [pid, process] : test_support::g_boot->processes) {
        *pids++ = pid;
        *usedBytes += sizeof(DWORD);
    }
    return TRUE;
}

DWORD WINAPI K32GetModuleFileNameExW(HANDLE handle, HMODULE, wchar_t* name, DWORD) {
    if (test_support::Find(handle) == nullptr) return 0;
    return wcscpy_s(name, MAX_PATH, L"C:\\found.exe") == 0;
}

decltype(&WaitForSingleObject) __imp_WaitForSingleObject = &test_support::Wait;
decltype(&GetSystemTimeAsFileTime) __imp_GetSystemTimeAsFileTime = &test_support::SystemTime;
decltype(&OpenProcess) __imp_OpenProcess = &test_support::Open;
decltype(&CloseHandle) __imp_CloseHandle = &test_support::Close;
decltype(&GetProcessTimes) __imp_GetProcessTimes = &test_support::Times;
decltype(&GetProcessIoCounters) __imp_GetProcessIoCounters = &test_support::Transfers;
decltype(&GetModuleHandleW) __imp_GetModuleHandleW = &test_support::ModuleHandle;
}
