#pragma once

#include <memory>
#include <vector>

#include "tools/fuzz/hostile.h"

namespace fuzz {

/// One way into the product.
class Target {
public:
    virtual ~Target() = default;
    /// Sends one input in. True when it was accepted, false when it was refused.
    virtual bool Try(Hostile& hostile) = 0;
    /// Whether a good request still gets its good answer.
    virtual bool IsSound() = 0;
};

using TargetMaker = std::unique_ptr<Target> (*)();

std::unique_ptr<Target> MakeEnginePipe();
std::unique_ptr<Target> MakeBootPipe();
std::unique_ptr<Target> MakeAgentPipe();
std::unique_ptr<Target> MakeSessionAgent();
std::unique_ptr<Target> MakeClients();
std::unique_ptr<Target> MakeSettingsFiles();
std::unique_ptr<Target> MakeHostFiles();
std::unique_ptr<Target> MakePluginList();
std::unique_ptr<Target> MakeCloudAnswers();

struct NamedTarget {
    const char* name;
    TargetMaker make;
};
inline constexpr NamedTarget kTargets[] = {
    {"engine-pipe", &MakeEnginePipe},
    {"boot-pipe", &MakeBootPipe},
    {"agent-pipe", &MakeAgentPipe},
    {"session-agent", &MakeSessionAgent},
    {"clients", &MakeClients},
    {"settings-files", &MakeSettingsFiles},
    {"host-files", &MakeHostFiles},
    {"plugin-list", &MakePluginList},
    {"cloud-answers", &MakeCloudAnswers},
};

}  // namespace fuzz
