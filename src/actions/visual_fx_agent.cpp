#include "actions/visual_fx_agent.h"

#include <windows.h>

#include "actions/visual_effects.h"
#include "actions/visual_fx_params.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

int32_t Read(const std::string& key) {
    const VisualEffect* const effect = FindVisualEffect(key);
    if (effect == nullptr) return 0;
    if (effect->get == SPI_GETANIMATION) {
        ANIMATIONINFO info = {};
        info.cbSize = sizeof(info);
        SystemParametersInfoW(effect->get, sizeof(info), &info, 0);
        return info.iMinAnimate;
    }
    int32_t value = 0;
    SystemParametersInfoW(effect->get, 0, &value, 0);
    return value;
}

/// Nobody acts on a failure: an effect that this system lacks stays as it is.
void Apply(const std::string& key, int32_t value) {
    const VisualEffect* const effect = FindVisualEffect(key);
    if (effect == nullptr) return;
    // NOLINTNEXTLINE(performance-no-int-to-ptr): the value travels in the pointer's place
    auto* const argument = reinterpret_cast<void*>(static_cast<intptr_t>(value));
    if (effect->set == SPI_SETANIMATION) {
        ANIMATIONINFO info = {sizeof(info), value};
        SystemParametersInfoW(effect->set, sizeof(info), &info, SPIF_UPDATEINIFILE);
    } else if (effect->set == SPI_SETFONTSMOOTHING) {
        // The one effect that takes its value as the number; it gets it in both places.
        SystemParametersInfoW(effect->set, static_cast<UINT>(value), argument, SPIF_UPDATEINIFILE);
    } else {
        SystemParametersInfoW(effect->set, 0, argument, SPIF_UPDATEINIFILE);
    }
}

/// Brings `saved` back, unless somebody else changed the effect since `wanted` was applied.
void Restore(const std::string& key, int32_t saved, const VisualFXAgentParams& wanted) {
    const auto applied = wanted.effects.find(key);
    if (applied == wanted.effects.end() || Read(key) != applied->second) return;
    Apply(key, saved);
}

VisualFXAgentParams ReadParams(CByteStream& command) {
    VisualFXAgentParams params;
    params.FromText(command.ReadNarrowString());
    return params;
}

VisualFXAgentParams ReadAll(const VisualFXAgentParams& wanted) {
    VisualFXAgentParams found;
    for (const auto& [key, value] : wanted.effects)
        found.effects[key] = Read(key);
    return found;
}

std::string Start(CByteStream& command) {
    const VisualFXAgentParams wanted = ReadParams(command);
    // All of them first: setting one effect may change what another one reads as.
    const VisualFXAgentParams found = ReadAll(wanted);
    for (const auto& [key, value] : wanted.effects)
        Apply(key, value);
    return found.ToText();
}

std::string Revert(CByteStream& command) {
    const VisualFXAgentParams wanted = ReadParams(command);
    const VisualFXAgentParams saved = ReadParams(command);
    for (const auto& [key, value] : saved.effects)
        Restore(key, value, wanted);
    return {};
}

std::string Update(CByteStream& command) {
    const VisualFXAgentParams current = ReadParams(command);
    const VisualFXAgentParams wanted = ReadParams(command);
    VisualFXAgentParams saved = ReadParams(command);
    // An effect that is no longer wanted stays at the profile's value: it isn't in this step's power to put
    // it back, and the saved values aren't asked on purpose.
    for (const auto& [key, value] : current.effects) {
        if (!wanted.effects.contains(key)) Restore(key, value, current);
    }
    for (const auto& [key, value] : wanted.effects) {
        // One that both hold is left alone, even with another value.
        if (current.effects.contains(key)) continue;
        // What was saved first stays: a second update must not take the profile's own value for it.
        saved.effects.emplace(key, Read(key));
        Apply(key, value);
    }
    return saved.ToText();
}

}  // namespace

std::string RunVisualEffectsCommand(CByteStream& command) {
    TRACE_SCOPE("RunVisualEffectsCommand");
    const uint32_t which = command.ReadUint32();
    TRACE_LINE(trace::kInformation, L"command=%d", which);
    switch (static_cast<VisualEffectsCommand>(which)) {
        case VisualEffectsCommand::Start:
            return Start(command);
        case VisualEffectsCommand::Revert:
            return Revert(command);
        case VisualEffectsCommand::Update:
            return Update(command);
        case VisualEffectsCommand::Read:
            return ReadAll(ReadParams(command)).ToText();
    }
    return {};
}

}  // namespace optimizer
