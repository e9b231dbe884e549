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
    {"site", &bench::TraceSite},        {"scope", &bench::TraceScope},    {"lock", &bench::ReadLock},
    {"profile", &bench::ProfileChange}, {"queue", &bench::QueueOneByOne}, {"batch", &bench::QueueBatch},
    {"memory", &bench::HostMemory},
};

bool IsWanted(std::string_view name, int count, char** names) {
    return count == 0 || std::find(names, names + count, name) != names + count;
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

int PrintAll(int count, char** names) {
    bool allOk = true;
    std::string notes;
    std::printf("%-32s %-42s %7s %7s %7s %6s\n", "what", "against", "min", "median", "max", "limit");
    for (const Row& row : kRows) {
        if (!IsWanted(row.name, count, names)) continue;
        Figure figure = row.measure();
        allOk = Print(figure) && allOk;
        if (!figure.note.empty()) notes += figure.what + ": " + figure.note + "\n";
    }
    std::printf("\n%d passes each; a figure is the multiple of what it is measured against.\n%s",
                bench::kPasses, notes.c_str());
    return allOk ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
    try {
        // The libraries that are bound by name lie with the programs.
        SetDllDirectoryW((optimizer::GetModuleFolder() + L"..\\..\\bin").c_str());
        return PrintAll(count - 1, arguments + 1);
    } catch (const std::exception& exception) {
        std::printf("%s\n", exception.what());
        return 2;
    }
}
