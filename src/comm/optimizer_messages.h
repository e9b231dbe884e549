// The messages of the pipe between the service and its clients. docs/wire-format.md tells their payloads.
#pragma once

#include <cstdint>

namespace optimizer {

inline constexpr const wchar_t* kOptimizerPipe = L"optimizerpipe";

/// Numbers on the wire. The numbers that are missing aren't assigned.
enum class NpcMsg : uint32_t {
    // Requests. The answer to a request that doesn't wait comes under the same number, but for tasks.
    OptimizerSetProfile = 1,
    OptimizerGetProfile = 2,
    OptimizerSetProfileConfig = 5,
    OptimizerGetProfileConfig = 6,
    OptimizerModuleEnable = 8,
    OptimizerModuleGetEnable = 9,
    OptimizerStartTask = 20,
    OptimizerStartTaskAnswer = 21,
    OptimizerCancelTask = 22,
    OptimizerCancelTaskAnswer = 23,
    OptimizerGetLastRun = 64,  // far from the numbers that older ends know
    OptimizerGetNotes = 65,
    // Events, sent to every client.
    OnProfileChanged = 3,
    OnActionsExecuted = 4,
    OnProfileConfigChanged = 7,
    OnOptimizerModuleEnableChanged = 10,
    OnOptimizerProcessOptimized = 11,
    OnTaskFinished = 24,
};

}  // namespace optimizer
