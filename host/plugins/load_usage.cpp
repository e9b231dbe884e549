#include "plugins/load_usage.h"

#include <algorithm>

#include <windows.h>

#include <pdh.h>

#include "frame/handles.h"
#include "frame/object_factory.h"
#include "frame/trace.h"

namespace host {

namespace trace = optimizer::trace;

using boottime::DiskSpeed;

namespace {

// Under its English name, which the system takes in every language.
constexpr const wchar_t* kDiskTime = L"\\PhysicalDisk(_Total)\\% Disk Time";
constexpr int kSamples = 5;
constexpr DWORD kSampleMs = 100;

struct QueryTraits {
    using Type = PDH_HQUERY;
    static Type Invalid() noexcept { return nullptr; }
    static void Close(Type query) { PdhCloseQuery(query); }
};
using Query = optimizer::UniqueHandle<QueryTraits>;

/// Never above 100, which a disk with a queue would have otherwise.
PDH_STATUS ReadPercent(PDH_HCOUNTER counter, double& percent) {
    PDH_FMT_COUNTERVALUE value = {};
    const PDH_STATUS status = PdhGetFormattedCounterValue(counter, PDH_FMT_DOUBLE, nullptr, &value);
    percent = std::clamp(value.doubleValue, 0.0, 100.0);
    return status;
}

}  // namespace

CLoadUsage::CLoadUsage() {
    m_log.Get();
}

void* CLoadUsage::QueryInterface(const Identifier* iid) {
    return optimizer::AnswerFor<ILoadUsage>(this, iid);
}

uint32_t CLoadUsage::GetFigures(int32_t kind, void** figures, uint32_t* flags) {
    TRACE_SCOPE("CLoadUsage::GetFigures");
    if (kind != kDiskFigures || figures == nullptr || *figures == nullptr || flags == nullptr)
        return ERROR_INVALID_PARAMETER;
    DiskSpeed speed = {};
    const uint32_t error = _SampleDisks(speed);
    if (error != ERROR_SUCCESS) {
        TRACE_LINE(trace::kWarning, L"The counter %s can't be read: 0x%x", kDiskTime, error);
        speed = {};
    }
    *static_cast<DiskSpeed*>(*figures) = speed;
    return error;
}

uint32_t CLoadUsage::_SampleDisks(DiskSpeed& speed) {
    Query query;
    PDH_HCOUNTER counter = nullptr;
    PDH_STATUS status = PdhOpenQueryW(nullptr, 0, query.Receive());
    if (status == ERROR_SUCCESS) status = PdhAddEnglishCounterW(query.Get(), kDiskTime, 0, &counter);
    // A share of time needs two looks: this one only begins the first sample.
    if (status == ERROR_SUCCESS) status = PdhCollectQueryData(query.Get());
    for (int sample = 0; sample < kSamples && status == ERROR_SUCCESS; ++sample) {
        Sleep(kSampleMs);
        double percent = 0;
        status = PdhCollectQueryData(query.Get());
        if (status == ERROR_SUCCESS) status = ReadPercent(counter, percent);
        speed.min_hddUsage = sample == 0 ? percent : std::min(speed.min_hddUsage, percent);
        speed.max_hddUsage = std::max(speed.max_hddUsage, percent);
        speed.average_hddUsage += percent / kSamples;
    }
    return static_cast<uint32_t>(status);
}

}  // namespace host
