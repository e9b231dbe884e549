// Everything that comes from outside, made hostile and sent into the product's classes, under Wine:
//   fuzz [TARGET...] [--inputs N | --seconds N] [--seed S] [--first NUMBER] [--folder FOLDER]
// A target, a seed and the number of an input bring that input back: --first NUMBER --inputs 1.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "frame/module_path.h"
#include "frame/text.h"
#include "tools/fuzz/run.h"

namespace {

struct Wanted {
    fuzz::RunLimits limits;
    std::vector<fuzz::NamedTarget> targets;
    std::string mistake;
};

Wanted Understand(int count, char** arguments) {
    Wanted wanted;
    wanted.limits.folder = optimizer::GetModuleFolder();
    for (int i = 1; i < count; ++i) {
        const std::string word = arguments[i];
        const auto* const named = std::find_if(std::begin(fuzz::kTargets), std::end(fuzz::kTargets),
                                               [&](const auto& each) { return word == each.name; });
        if (named != std::end(fuzz::kTargets)) {
            wanted.targets.push_back(*named);
            continue;
        }
        if (!word.starts_with("--") || i + 1 == count) {
            wanted.mistake = "There is no target or option \"" + word + "\", or its value is missing.";
            return wanted;
        }
        const char* const value = arguments[++i];
        const uint64_t number = std::strtoull(value, nullptr, 10);
        if (word == "--inputs") wanted.limits.inputs = number;
        if (word == "--seconds") wanted.limits.seconds = static_cast<uint32_t>(number);
        if (word == "--seed") wanted.limits.seed = number;
        if (word == "--first") wanted.limits.first = number;
        if (word == "--folder") wanted.limits.folder = optimizer::Widen(value) + L"\\";
    }
    if (wanted.targets.empty()) wanted.targets.assign(std::begin(fuzz::kTargets), std::end(fuzz::kTargets));
    if (wanted.limits.inputs == 0 && wanted.limits.seconds == 0) wanted.limits.inputs = 10000;
    return wanted;
}

}  // namespace

int main(int count, char** arguments) {
    const Wanted wanted = Understand(count, arguments);
    if (!wanted.mistake.empty()) return std::printf("%s\n", wanted.mistake.c_str()), 2;
    std::printf("%-16s %10s %10s %10s %10s %12s\n", "target", "inputs", "accepted", "refused", "worst ms",
                "grown KiB");
    bool isGood = true;
    for (const fuzz::NamedTarget& target : wanted.targets) {
        const fuzz::RunResult result = Run(target, wanted.limits);
        const bool isFlat = result.grownBytes <= fuzz::kMostGrowthBytes;
        isGood = isGood && result.isSound && isFlat;
        std::printf("%-16s %10llu %10llu %10llu %10.1f %12lld%s%s\n", target.name,
                    static_cast<unsigned long long>(result.accepted + result.refused),
                    static_cast<unsigned long long>(result.accepted),
                    static_cast<unsigned long long>(result.refused), result.worstMs,
                    static_cast<long long>(result.grownBytes / 1024), isFlat ? "" : "  GROWS",
                    result.isSound ? "" : "  NO ANSWER ANY MORE");
        std::fflush(stdout);
    }
    return isGood ? 0 : 1;
}
