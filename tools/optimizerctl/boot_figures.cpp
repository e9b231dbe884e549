#include "tools/optimizerctl/boot_figures.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace ctl {

namespace {

/// What a figure stands for at least: a counter that wrapped once is the number of its 32 bits.
int64_t LeastOf(int64_t value) {
    return value < 0 ? static_cast<int64_t>(static_cast<uint32_t>(value)) : value;
}

}  // namespace

std::wstring BootProcess::Name() const {
    const size_t end = path.find_last_of(L"\\/");
    return end == std::wstring::npos ? path : path.substr(end + 1);
}

int64_t BootProcess::Of(Cost cost) const {
    switch (cost) {
        case Cost::Kernel:
            return counters.cpuKernelTime;
        case Cost::User:
            return counters.cpuUserTime;
        case Cost::Read:
            return counters.bytesRead;
        case Cost::Written:
            return counters.bytesWritten;
        case Cost::Other:
            return counters.bytesOther;
        default:
            return int64_t{counters.cpuKernelTime} + counters.cpuUserTime;
    }
}

CostTotal TotalOf(const std::vector<BootProcess>& processes, Cost cost) {
    CostTotal total;
    for (const BootProcess& process : processes) {
        const int64_t value = process.Of(cost);
        total.isWhole = total.isWhole && value >= 0;
        total.sum += value >= 0 ? static_cast<uint64_t>(value) : 0;
    }
    return total;
}

std::optional<double> ShareOf(int64_t value, const CostTotal& total) {
    if (value < 0 || total.sum == 0) return std::nullopt;
    return static_cast<double>(value) / static_cast<double>(total.sum);
}

void Sort(std::vector<BootProcess>& processes, size_t order) {
    std::stable_sort(processes.begin(), processes.end(), [&](const BootProcess& a, const BootProcess& b) {
        if (order == kByName) return _wcsicmp(a.Name().c_str(), b.Name().c_str()) < 0;
        if (order == kByPid) return a.pid < b.pid;
        return LeastOf(a.Of(kCosts[order])) > LeastOf(b.Of(kCosts[order]));
    });
}

std::wstring Grouped(int64_t number) {
    std::wstring digits = std::to_wstring(number < 0 ? -number : number);
    for (size_t place = digits.size(); place > 3; place -= 3)
        digits.insert(place - 3, L",");
    return number < 0 ? L"-" + digits : digits;
}

std::wstring OneDecimal(double number) {
    wchar_t text[64] = {};
    _snwprintf(text, std::size(text) - 1, L"%.1f", number);
    return text;
}

std::wstring Percent(double hundredth) {
    return OneDecimal(hundredth * 100) + L"%";
}

}  // namespace ctl
