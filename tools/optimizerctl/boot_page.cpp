#include "tools/optimizerctl/boot_page.h"

#include <algorithm>
#include <cwchar>
#include <iterator>

namespace ctl {

namespace {

constexpr size_t kMostBars = 12;
constexpr const wchar_t* kNoName = L"(no name)";

std::wstring Escaped(const std::wstring& text) {
    std::wstring escaped;
    for (const wchar_t c : text) {
        switch (c) {
            case L'&':
                escaped += L"&amp;";
                break;
            case L'<':
                escaped += L"&lt;";
                break;
            case L'>':
                escaped += L"&gt;";
                break;
            case L'"':
                escaped += L"&quot;";
                break;
            case L'\'':
                escaped += L"&#39;";
                break;
            default:
                // Control characters have no place in a page.
                escaped += c < L' ' || c == 0x7F ? L'\xFFFD' : c;
        }
    }
    return escaped;
}

std::wstring NameOf(const BootProcess& process) {
    const std::wstring name = process.Name();
    return Escaped(name.empty() ? kNoName : name);
}

std::wstring Duration(uint64_t milliseconds) {
    if (milliseconds < 1000) return std::to_wstring(milliseconds) + L" ms";
    return OneDecimal(static_cast<double>(milliseconds) / 1000) + L" s";
}

std::wstring Amount(uint64_t bytes) {
    static constexpr const wchar_t* kUnits[] = {L"KiB", L"MiB", L"GiB", L"TiB"};
    if (bytes < 1024) return std::to_wstring(bytes) + L" B";
    double amount = static_cast<double>(bytes) / 1024;
    size_t unit = 0;
    for (; amount >= 1023.95 && unit + 1 < std::size(kUnits); ++unit)
        amount /= 1024;
    return OneDecimal(amount) + L" " + kUnits[unit];
}

/// A chart of two costs that add up, and how it is told.
struct Chart {
    Cost costs[2];
    const wchar_t* classes[2];
    const wchar_t* names[2];
    const wchar_t* title;
    const wchar_t* explanation;
    std::wstring (*format)(uint64_t value);
};

constexpr Chart kCpuChart = {{Cost::Kernel, Cost::User},
                             {L"kernel", L"user"},
                             {L"in the kernel", L"in the program"},
                             L"CPU time",
                             L"The processes that kept the processors busy longest.",
                             &Duration};
constexpr Chart kDiskChart = {{Cost::Read, Cost::Written},
                              {L"read", L"written"},
                              {L"read", L"written"},
                              L"Data transfer",
                              L"The processes that read and wrote the most.",
                              &Amount};

/// A chart's figures of one process.
struct Bar {
    const BootProcess* process;
    uint64_t parts[2];  // 0 for a counter that wrapped
    bool isWrapped;

    uint64_t Sum() const { return parts[0] + parts[1]; }
};

std::vector<Bar> BarsOf(const std::vector<BootProcess>& processes, const Chart& chart) {
    std::vector<Bar> bars;
    for (const BootProcess& process : processes) {
        Bar bar = {&process, {}, false};
        for (size_t part = 0; part < 2; ++part) {
            const int64_t value = process.Of(chart.costs[part]);
            bar.isWrapped = bar.isWrapped || value < 0;
            bar.parts[part] = static_cast<uint64_t>(std::max<int64_t>(value, 0));
        }
        if (bar.isWrapped || bar.Sum() > 0) bars.push_back(bar);
    }
    std::stable_sort(bars.begin(), bars.end(), [](const Bar& a, const Bar& b) {
        return a.isWrapped != b.isWrapped ? a.isWrapped : a.Sum() > b.Sum();
    });
    return bars;
}

std::wstring BarItem(const Bar& bar, const Chart& chart, uint64_t longest, uint64_t total) {
    std::wstring item =
        L"<li><b title=\"" + Escaped(bar.process->path) + L"\">" + NameOf(*bar.process) + L"</b><span>";
    if (bar.isWrapped) {
        item +=
            L"more than 2 GiB</span><div class=\"bar\" aria-hidden=\"true\"><i class=\"wrapped\" "
            L"style=\"width:100%\"></i></div></li>\n";
        return item;
    }
    item += chart.format(bar.Sum()) + L"<em>" +
            Percent(static_cast<double>(bar.Sum()) / static_cast<double>(total)) +
            L"</em></span><div class=\"bar\" aria-hidden=\"true\">";
    for (size_t part = 0; part < 2; ++part) {
        if (bar.parts[part] == 0) continue;
        const double width = 100.0 * static_cast<double>(bar.parts[part]) / static_cast<double>(longest);
        item += L"<i class=\"" + std::wstring(chart.classes[part]) + L"\" style=\"width:" +
                OneDecimal(std::max(width, 0.4)) + L"%\"></i>";
    }
    return item + L"</div></li>\n";
}

std::wstring ChartSection(const std::vector<BootProcess>& processes, const Chart& chart) {
    const std::vector<Bar> bars = BarsOf(processes, chart);
    std::wstring section = L"<section>\n<h2>" + std::wstring(chart.title) + L"</h2>\n<p class=\"soft\">";
    if (bars.empty()) return section + L"No process had any.</p>\n</section>\n";
    section += std::wstring(chart.explanation) + L"</p>\n<ul class=\"legend\" aria-hidden=\"true\">";
    for (size_t part = 0; part < 2; ++part)
        section += L"<li><i class=\"" + std::wstring(chart.classes[part]) + L"\"></i>" + chart.names[part] +
                   L"</li>";
    section += L"</ul>\n<ol class=\"bars\">\n";
    uint64_t longest = 1;
    uint64_t total = 0;
    for (const Bar& bar : bars) {
        if (!bar.isWrapped) longest = std::max(longest, bar.Sum());
        total += bar.isWrapped ? 0 : bar.Sum();
    }
    for (size_t i = 0; i < std::min(bars.size(), kMostBars); ++i)
        section += BarItem(bars[i], chart, longest, total);
    section += L"</ol>\n";
    return section + L"</section>\n";
}

std::wstring Fact(const wchar_t* name, const std::wstring& value) {
    return L"<div><dt>" + std::wstring(name) + L"</dt><dd>" + value + L"</dd></div>\n";
}

std::wstring Facts(const BootFigures& figures) {
    const CostTotal cpu = TotalOf(figures.processes, Cost::Cpu);
    const CostTotal read = TotalOf(figures.processes, Cost::Read);
    const CostTotal written = TotalOf(figures.processes, Cost::Written);
    const std::wstring atLeast = read.isWhole && written.isWhole ? L"" : L"&gt; ";
    std::wstring facts = L"<dl class=\"facts\">\n" +
                         Fact(L"Processes", Grouped(static_cast<int64_t>(figures.processes.size()))) +
                         Fact(L"CPU time of all", Duration(cpu.sum)) +
                         Fact(L"Read and written", atLeast + Amount(read.sum + written.sum));
    facts += figures.disk
                 ? Fact(L"Disks busy, right after", OneDecimal(figures.disk->average_hddUsage) + L"%")
                 : Fact(L"Disks busy, right after", L"not measured");
    return facts + L"</dl>\n";
}

constexpr const wchar_t* kTableHead =
    L"<thead><tr><th scope=\"col\">Process</th><th scope=\"col\">Id</th><th scope=\"col\">CPU, ms</th>"
    L"<th scope=\"col\">Kernel, ms</th><th scope=\"col\">User, ms</th><th scope=\"col\">Read, bytes</th>"
    L"<th scope=\"col\">Written, bytes</th><th scope=\"col\">Other, bytes</th></tr></thead>\n";

std::wstring TableCell(int64_t value, bool isMarked) {
    return L"<td>" + Grouped(value) + (isMarked ? L"<i>*</i></td>" : L"</td>");
}

std::wstring TableSection(std::vector<BootProcess> processes) {
    Sort(processes, static_cast<size_t>(Cost::Cpu));
    std::wstring rows;
    for (const BootProcess& process : processes) {
        rows += L"<tr><th scope=\"row\">" + NameOf(process) + L"<span class=\"soft\">" +
                Escaped(process.path) + L"</span></th><td>" + std::to_wstring(process.pid) + L"</td>";
        for (const Cost cost : kCosts)
            rows += TableCell(process.Of(cost), process.Of(cost) < 0);
        rows += L"</tr>\n";
    }
    std::wstring totals = L"<tr><th scope=\"row\">All</th><td></td>";
    for (const Cost cost : kCosts) {
        const CostTotal total = TotalOf(processes, cost);
        totals += TableCell(static_cast<int64_t>(total.sum), !total.isWhole);
    }
    return L"<section class=\"all\">\n<h2 id=\"all\">All processes</h2>\n<div class=\"scroll\" "
           L"role=\"region\" "
           L"aria-labelledby=\"all\" tabindex=\"0\">\n<table>\n" +
           std::wstring(kTableHead) + L"<tbody>\n" + rows + L"</tbody>\n<tfoot>" + totals +
           L"</tr></tfoot>\n</table>\n</div>\n</section>\n";
}

std::wstring Footer(const BootFigures& figures) {
    std::wstring footer = L"<footer>\n";
    if (figures.disk) {
        footer += L"<p>Disk use was sampled once the processors were nearly idle again: between " +
                  OneDecimal(figures.disk->min_hddUsage) + L"% and " +
                  OneDecimal(figures.disk->max_hddUsage) + L"% of the time.</p>\n";
    }
    const auto& processes = figures.processes;
    if (std::any_of(processes.begin(), processes.end(), [](const BootProcess& process) {
            return std::any_of(std::begin(kCosts), std::end(kCosts),
                               [&](Cost cost) { return process.Of(cost) < 0; });
        })) {
        footer +=
            L"<p>* More than 2 GiB: the process's counter wrapped, and the figure isn't the amount. "
            L"Totals and shares leave it out.</p>\n";
    }
    return footer + L"</footer>\n";
}

}  // namespace

std::wstring BootPage(const BootFigures& figures, const std::wstring& machine, const SYSTEMTIME& time) {
    wchar_t made[32] = {};
    _snwprintf(made, std::size(made) - 1, L"%04u-%02u-%02u %02u:%02u", time.wYear, time.wMonth, time.wDay,
               time.wHour, time.wMinute);
    const std::wstring title = L"Boot report" + (machine.empty() ? L"" : L" of " + Escaped(machine));
    return L"<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
           L"<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           L"<meta name=\"color-scheme\" content=\"light dark\">\n<title>" +
           title + L"</title>\n<style>" + kBootPageStyle +
           L"</style>\n</head>\n<body>\n<main>\n<header><h1>" + title + L"</h1><p class=\"soft\">made " +
           made + L"</p></header>\n<p class=\"length\">" + OneDecimal(figures.timeMs / 1000.0) +
           L" <small>seconds</small></p>\n<p class=\"soft\">from the start of the machine until it was "
           L"ready</p>\n" +
           Facts(figures) + L"<div class=\"pair\">\n" + ChartSection(figures.processes, kCpuChart) +
           ChartSection(figures.processes, kDiskChart) + L"</div>\n" + TableSection(figures.processes) +
           Footer(figures) + L"</main>\n</body>\n</html>\n";
}

}  // namespace ctl
