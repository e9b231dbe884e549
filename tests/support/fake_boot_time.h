#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "frame/callback_list.h"
#include "frame/process_impact.h"
#include "tests/support/fake_plugin.h"

namespace test_support {

/// A measurement that gives what the test put in, under one result for all requests. Like the real one it
/// writes nothing with a result other than 0, the disk's figures apart.
template <class Interface>
class FakeBootTime : public FakePlugin<Interface> {
public:
    uint32_t GetBootTime(uint32_t* out) override {
        if (result == 0) *out = timeMs;
        return result;
    }
    uint32_t GetTotalBootImpact(boottime::ProcessCounters* out) override {
        if (result == 0) *out = total;
        return result;
    }
    uint32_t GetBootImpact(vx::IList<boottime::ProcessImpact>* list,
                           boottime::ProcessImpact* filter) override {
        filtered =
            std::to_wstring(filter->ppid) + L"/" + std::to_wstring(filter->pid) + L"/" + filter->name.Text();
        for (const boottime::ProcessImpact& process : processes) {
            if (result == 0 && (filter->pid == 0 || filter->pid == process.pid)) list->PushBack(process);
        }
        return result;
    }
    uint32_t GetDiskSpeed(boottime::DiskSpeed* out) override {
        *out = speed;
        return diskResult;
    }
    uint32_t AddEventsObserver(boottime::IBootTimeEvents* observer) override { return events.Add(observer); }
    uint32_t RemoveEventsObserver(boottime::IBootTimeEvents* observer) override {
        return events.Remove(observer, 0);
    }

    std::atomic<uint32_t> result = 0;
    std::atomic<uint32_t> diskResult = 0;
    uint32_t timeMs = 42370;
    boottime::ProcessCounters total = {1, 2, 3, -4, 5};
    boottime::DiskSpeed speed = {0.5, 99.25, 12};
    std::vector<boottime::ProcessImpact> processes;
    std::wstring filtered;  // the last filter
    optimizer::CallbackList<boottime::IBootTimeEvents*> events;
};

inline boottime::ProcessImpact Impact(uint64_t pid, const wchar_t* name,
                                      const boottime::ProcessCounters& counters) {
    return {pid > 100 ? uint64_t{100} : 0, pid, vx::String(name), counters};
}

}  // namespace test_support
