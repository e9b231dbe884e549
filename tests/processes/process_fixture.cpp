#include "tests/processes/process_fixture.h"

#include <windows.h>

#include <tlhelp32.h>

namespace test_support {

Machine* g_machine = nullptr;

namespace {

bool Fill(uint32_t after, PROCESSENTRY32W* entry) {
    const auto next = g_machine->names.upper_bound(after);
    if (next == g_machine->names.end()) {
        SetLastError(ERROR_NO_MORE_FILES);
        return false;
    }
    entry->th32ProcessID = next->first;
    wcscpy_s(entry->szExeFile, next->second.c_str());
    return true;
}

/// Images can't be read; priorities can be set for processes that there are.
HANDLE WINAPI Open(DWORD access, BOOL, DWORD pid) {
    if (access != PROCESS_SET_INFORMATION || !g_machine->names.contains(pid)) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    const HANDLE handle = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    g_machine->handles[handle] = pid;
    return handle;
}

BOOL WINAPI SetPriority(HANDLE process, DWORD priority) {
    const char* const kind = priority == ABOVE_NORMAL_PRIORITY_CLASS ? "+ " : "- ";
    g_machine->sets += std::to_string(g_machine->handles.at(process)) + kind;
    return TRUE;
}

}  // namespace

ProcessFixture::ProcessFixture() {
    g_machine = &m_machine;
    m_machine.names = {{4, L"System"}, {10, L"Game.exe"}, {11, L"other.exe"}, {12, L"GAME.EXE"}};
    m_host.manager.plugins = {
        {L"processdp", &m_processes}, {L"optimizerprocessdp", &m_lists}, {L"optimizeral", &m_engine}};
    m_lists.included[ProcessListKind::Game] = {L"game.exe"};
    m_lists.included[ProcessListKind::Work] = {L"other.exe"};
    m_notifier.SetMain(&m_host);
    m_notifier.Start();
    m_notifier.RegisterObserver(this);
}

ProcessFixture::~ProcessFixture() {
    m_notifier.Stop();
    EXPECT_EQ(m_host.queue.liveSerials, 0);
    for (const auto& [name, count] : m_host.manager.references)
        EXPECT_EQ(count, 0) << "requests without a release";
    EXPECT_TRUE(m_processes.function == nullptr && m_lists.list == nullptr && m_lists.details == nullptr &&
                m_engine.observer == nullptr)
        << "the host could call a dead object";
}

}  // namespace test_support

// The linker takes these for the system's.
extern "C" {
HANDLE WINAPI CreateToolhelp32Snapshot(DWORD, DWORD) {
    return CreateEventW(nullptr, TRUE, FALSE, nullptr);
}

BOOL WINAPI Process32FirstW(HANDLE, PROCESSENTRY32W* entry) {
    return test_support::Fill(0, entry) ? TRUE : FALSE;
}

BOOL WINAPI Process32NextW(HANDLE, PROCESSENTRY32W* entry) {
    return test_support::Fill(entry->th32ProcessID, entry) ? TRUE : FALSE;
}

decltype(&OpenProcess) __imp_OpenProcess = &test_support::Open;
decltype(&SetPriorityClass) __imp_SetPriorityClass = &test_support::SetPriority;
}
