// The benchmarks: optimizer_bench [NAME...] measures the named figures, or all of them, and prints one table.
// The exit code is 1 when a median is over its limit, 2 when a figure could not be measured.
#include <cstdio>
#include <exception>
#include <string_view>

#include "bench/harness.h"
#include "frame/module_path.h"

namespace {

using bench::Figure;

struct Row {
    std::string_view name;
    Figure (*measure)();
};

constexpr Row kRows[] = {
    {"site", &bench::TraceSite},        {"scope", &bench::TraceScope},        {"lock", &bench::ReadLock},
    {"profile", &bench::ProfileChange}, {"queue", &bench::QueueOneByOne},     {"batch", &bench::QueueBatch},
    {"call", &bench::PipeCall},         {"broadcast", &bench::PipeBroadcast}, {"memory", &bench::HostMemory},
    {"bootpass", &bench::BootPass},     {"sample", &bench::BootMemory},       {"boot", &bench::WholeBoot},
};

const Row* FindRow(std::string_view name) {
    const auto* const found =
        std::find_if(std::begin(kRows), std::end(kRows), [name](const Row& row) { return row.name == name; });
    return found != std::end(kRows) ? found : nullptr;
}

/// Whether the median is within the limit.
bool Print(Figure& figure) {
    std::vector<double>& values = figure.values;
    std::sort(values.begin(), values.end());
    const double median = values[values.size() / 2];
    const bool isOk = median <= figure.limit;
    std::printf("%-32s %-42s %7.2f %7.2f %7.2f %6.1f  %s\n", figure.what.c_str(), figure.against.c_str(),
                values.front(), median, values.back(), figure.limit, isOk ? "ok" : "over");
    static_cast<void>(std::fflush(stdout));
    return isOk;
}

/// The exit code.
int Measure(const std::vector<const Row*>& rows) {
    int result = 0;
    std::string notes;
    std::printf("%-32s %-42s %7s %7s %7s %6s\n", "what", "against", "min", "median", "max", "limit");
    for (const Row* const row : rows) {
        try {
            Figure figure = row->measure();
            if (!Print(figure)) result = std::max(result, 1);
            if (!figure.note.empty()) notes += figure.what + ": " + figure.note + "\n";
        } catch (const std::exception& exception) {
            std::printf("%s: not measured, %s\n", row->name.data(), exception.what());
            result = 2;
        }
    }
    std::printf("\n%d passes each; a figure is the multiple of what it is measured against.\n%s",
                bench::kPasses, notes.c_str());
    return result;
}

}  // namespace

int main(int count, char** arguments) {
    // The libraries that are bound by name lie with the programs.
    SetDllDirectoryW((optimizer::GetModuleFolder() + L"..\\..\\bin").c_str());
    std::vector<const Row*> rows;
    for (int i = 1; i < count; ++i) {
        rows.push_back(FindRow(arguments[i]));
        if (rows.back() == nullptr) {
            std::printf("There is no figure \"%s\".\n", arguments[i]);
            return 2;
        }
    }
    if (rows.empty()) {
        for (const Row& row : kRows)
            rows.push_back(&row);
    }
    return Measure(rows);
}
