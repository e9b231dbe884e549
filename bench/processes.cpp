// What the engine's picture of the running processes costs, and its answer whether an application counts.
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <windows.h>

#include <psapi.h>
#include <tlhelp32.h>

#include "bench/harness.h"
#include "frame/critical_section.h"
#include "frame/handles.h"
#include "frame/trace.h"
#include "host/optimizerprocessdp/process_entry.h"
#include "processes/optimizer_processes.h"
#include "processes/snapshot.h"

namespace bench {

namespace {

using optimizer::profiles::profile;

constexpr DWORD kLongestPath = 32767;
constexpr uint32_t kApplications = 100;  // about what runs on a desktop

/// The product names of whatever runs: just the calls, with buffers that were there before.
class BareLook {
public:
    void Take() {
        const optimizer::FileHandle snapshot(CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0));
        PROCESSENTRY32W entry = {};
        entry.dwSize = sizeof(entry);
        for (BOOL more = Process32FirstW(snapshot.Get(), &entry); more;
             more = Process32NextW(snapshot.Get(), &entry)) {
            _ReadProduct(entry.th32ProcessID);
        }
    }

private:
    void _ReadProduct(DWORD processId) {
        const optimizer::KernelHandle process(
            OpenProcess(PROCESS_QUERY_INFORMATION | PROCESS_VM_READ, FALSE, processId));
        if (!process || GetModuleFileNameExW(process.Get(), nullptr, m_path.data(), kLongestPath) == 0)
            return;
        DWORD unused = 0;
        const DWORD sizeBytes = GetFileVersionInfoSizeW(m_path.data(), &unused);
        if (sizeBytes == 0) return;
        m_resource.resize(sizeBytes);
        if (!GetFileVersionInfoW(m_path.data(), 0, sizeBytes, m_resource.data())) return;
        void* text = nullptr;
        UINT length = 0;
        VerQueryValueW(m_resource.data(), L"\\StringFileInfo\\040904b0\\ProductName", &text, &length);
        Keep(text);
    }

    std::vector<wchar_t> m_path = std::vector<wchar_t>(kLongestPath);
    std::vector<std::byte> m_resource;
};

std::wstring ApplicationName(uint32_t number) {
    return L"application" + std::to_wstring(number) + L".exe";
}

}  // namespace

Figure ProcessPicture() {
    optimizer::CSnapshot snapshot(nullptr, nullptr);
    BareLook bareLook;
    Figure figure{"picture of the running processes",
                  "Toolhelp and version reads of the same",
                  1.2,
                  Ratios([&] { snapshot.TakeSnapshot(); }, [&] { bareLook.Take(); }),
                  {}};
    optimizer::SnapshotKeys keys;
    snapshot.GetProcesses(keys);
    figure.note = std::to_string(keys.size()) + " programs were running";
    return figure;
}

Figure KnownAnswer() {
    if (optimizer::trace::IsLive()) throw std::runtime_error("the trace isn't silent");
    optimizer::COptimizerProcesses answers(nullptr, nullptr);
    optimizer::CCriticalSection section;
    std::map<optimizer::SnapshotKey, bool, optimizer::SnapshotKeyLess> map;
    std::vector<optimizer::SnapshotKey> keys;
    host::ProcessEntryList list;
    for (uint32_t i = 0; i < kApplications; ++i) {
        keys.emplace_back(ApplicationName(i), L"some product");
        map.emplace(keys.back(), true);
        list.PushBack(host::CProcessEntry(keys.back().first, keys.back().second));
    }
    constexpr auto kGame = profile::Game;
    constexpr auto kEntries = ProcessEventKind::Entries;
    answers.SetCurrentProfile(&kGame);
    answers.OnProcessesAdded(&kEntries, &kGame, &list);  // so that every answer is known

    uint32_t found = 0;
    const auto ours = [&] {
        for (const optimizer::SnapshotKey& key : keys)
            found += answers.GetStatus(key.first, key.second) ? 1 : 0;
        Keep(&found);
    };
    const auto bare = [&] {
        for (const optimizer::SnapshotKey& key : keys) {
            const optimizer::CriticalSectionGuard guard(section);
            found += map.find(key)->second ? 1 : 0;
        }
        Keep(&found);
    };
    ours();
    if (found != kApplications) throw std::runtime_error("an answer isn't known");
    return {"known answer for an application", "a critical section, map lookup", 2, Ratios(ours, bare), {}};
}

}  // namespace bench
