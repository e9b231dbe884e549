#include "tools/optimizerctl/boot_table.h"

#include <algorithm>
#include <iterator>

#include "frame/text.h"
#include "tools/optimizerctl/context.h"
#include "tools/optimizerctl/output.h"

namespace ctl {

namespace {

struct CostColumn {
    const char* key;
    const wchar_t* heading;
    const wchar_t* shareOf;
    size_t width;
};

/// By cost.
constexpr CostColumn kColumns[] = {
    {"cpu", L"CPU ms", L"CPU time", 10},           {"kernel", L"kernel ms", L"kernel time", 11},
    {"user", L"user ms", L"user time", 11},        {"read", L"read bytes", L"bytes read", 17},
    {"written", L"written", L"bytes written", 17}, {"other", L"other", L"other bytes", 17},
};
static_assert(std::size(kColumns) == std::size(kCosts));

constexpr size_t kShareWidth = 9;
constexpr size_t kPidWidth = 9;
constexpr const wchar_t* kMark = L"*";
constexpr const wchar_t* kWrapped =
    L"\n* More than 2 GiB: the process's counter wrapped, and the figure isn't the amount. Shares and totals "
    L"leave it out.";

const CostColumn& ColumnOf(Cost cost) {
    return kColumns[static_cast<size_t>(cost)];
}

/// A mark behind the number or room for one, so that digits line up.
std::wstring Cell(const std::wstring& number, bool isMarked, Cost cost) {
    return RightColumn(number + (isMarked ? kMark : L" "), ColumnOf(cost).width);
}

/// The costs in their order, with the share behind the first.
template <class CellOf>
std::wstring Line(const std::wstring& share, CellOf cellOf) {
    std::wstring line;
    for (const Cost cost : kCosts) {
        line += cellOf(cost);
        if (cost == Cost::Cpu) line += RightColumn(share, kShareWidth);
    }
    return line;
}

std::wstring Heading() {
    return Line(L"share", [](Cost cost) { return Cell(ColumnOf(cost).heading, false, cost); }) +
           RightColumn(L"pid", kPidWidth) + L"  process\n";
}

std::wstring Row(const BootProcess& process, const CostTotal& total, Cost shareOf) {
    const auto share = ShareOf(process.Of(shareOf), total);
    const std::wstring line = Line(share ? Percent(*share) : L"-", [&](Cost cost) {
        return Cell(Grouped(process.Of(cost)), process.Of(cost) < 0, cost);
    });
    return line + RightColumn(std::to_wstring(process.pid), kPidWidth) + L"  " + process.path + L"\n";
}

std::wstring CountOf(size_t processes) {
    return std::to_wstring(processes) + (processes == 1 ? L" process" : L" processes");
}

picojson::object CostsDocument(const auto& valueOf) {
    picojson::object document;
    for (const Cost cost : kCosts)
        document[ColumnOf(cost).key] = valueOf(cost);
    return document;
}

}  // namespace

std::wstring ImpactText(const BootFigures& figures, const TableView& view) {
    const std::wstring boot = L"The boot took " + SecondsText(figures.timeMs);
    if (figures.processes.empty()) return boot + L"; no process was measured.";
    const size_t shown = std::min(view.most, figures.processes.size());
    std::wstring text = boot + L"; " + CountOf(figures.processes.size()) + L" were measured";
    text += shown < figures.processes.size() ? L", the first " + std::to_wstring(shown) + L" are shown.\n"
                                             : std::wstring(L".\n");
    text += L"Shares are of the " + std::wstring(ColumnOf(view.share).shareOf) + L".\n\n" + Heading();
    const CostTotal total = TotalOf(figures.processes, view.share);
    for (size_t i = 0; i < shown; ++i)
        text += Row(figures.processes[i], total, view.share);
    bool isWhole = true;
    text += Line(L"100.0%", [&](Cost cost) {
        const CostTotal sum = TotalOf(figures.processes, cost);
        isWhole = isWhole && sum.isWhole;
        return Cell(Grouped(static_cast<int64_t>(sum.sum)), !sum.isWhole, cost);
    });
    text += RightColumn(L"", kPidWidth) + L"  all " + CountOf(figures.processes.size());
    return isWhole ? text : text + kWrapped;
}

picojson::object ImpactDocument(const BootFigures& figures, const TableView& view) {
    const CostTotal total = TotalOf(figures.processes, view.share);
    picojson::array rows;
    for (const BootProcess& process : figures.processes) {
        if (rows.size() == view.most) break;
        picojson::object row = CostsDocument([&](Cost cost) { return SignedValue(process.Of(cost)); });
        const auto share = ShareOf(process.Of(view.share), total);
        row["name"] = TextValue(process.path);
        row["pid"] = NumberValue(process.pid);
        row["ppid"] = NumberValue(process.ppid);
        row["share"] = share ? picojson::value(*share) : picojson::value();
        rows.emplace_back(row);
    }
    const picojson::object totals =
        CostsDocument([&](Cost cost) { return NumberValue(TotalOf(figures.processes, cost).sum); });
    return {{"count", NumberValue(figures.processes.size())},
            {"milliseconds", NumberValue(figures.timeMs)},
            {"processes", picojson::value(rows)},
            {"shareOf", TextValue(kSortNames[static_cast<size_t>(view.share)])},
            {"total", picojson::value(totals)}};
}

}  // namespace ctl
