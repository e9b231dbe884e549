// An object in the place of the Windows Update Agent: its class, the agent and the settings use different
// slots of one table. The settings are numbers of the simulated power library's store and outlive a process
// that is killed.
#pragma once

#include <functional>
#include <string>

#include "tests/support/simulated_power.h"

namespace test_support {

inline constexpr const wchar_t* kUpdateLevel = L"UpdateLevel";              // 3 where there is none
inline constexpr const wchar_t* kUpdateRecommended = L"UpdateRecommended";  // a VARIANT_BOOL, otherwise 0

/// Hears of each step ("create", "level 2", ...) before it is done. What isn't S_OK takes its place.
inline std::function<HRESULT(const std::string& step)> g_updateStep = [](const std::string&) { return S_OK; };
inline int g_updateReferences = 0;

extern void* g_updateSlots[19];
inline void** g_updateAgent = g_updateSlots;  // the object

inline HRESULT GiveUpdateAgent(const char* step, void** out) {
    const HRESULT result = step != nullptr ? g_updateStep(step) : S_OK;
    *out = result == S_OK ? &g_updateAgent : nullptr;
    g_updateReferences += result == S_OK ? 1 : 0;
    return result;
}

template <class Function>
void* Slot(Function function) {
    return reinterpret_cast<void*>(+function);
}

inline HRESULT PutUpdateSetting(const char* step, const wchar_t* name, int number) {
    const HRESULT result = g_updateStep(step + std::to_string(number));
    if (result == S_OK) WritePowerNumber(name, static_cast<uint32_t>(number));
    return result;
}

inline void* g_updateSlots[19] = {
    Slot([](void*, const GUID* iid, void** out) {
        return GiveUpdateAgent(iid->Data1 == 0x6ABC136A ? "settings2" : nullptr, out);
    }),
    Slot([](void*) { return ++g_updateReferences; }),
    Slot([](void*) { return --g_updateReferences; }),
    Slot([](void*, void*, const GUID*, void** out) { return GiveUpdateAgent("create", out); }),
    nullptr,
    nullptr,
    nullptr,
    Slot([](void*, int* level) {
        *level = static_cast<int>(ReadPowerNumber(kUpdateLevel).value_or(3));
        return g_updateStep("get");
    }),
    Slot([](void*, int level) { return PutUpdateSetting("level ", kUpdateLevel, level); }),
    nullptr,
    nullptr,
    Slot([](void*, void** out) { return GiveUpdateAgent("settings", out); }),
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    Slot([](void*) { return g_updateStep("save"); }),
    Slot([](void*, short* included) {
        *included = static_cast<short>(ReadPowerNumber(kUpdateRecommended).value_or(0));
        return S_OK;
    }),
    Slot(
        [](void*, short included) { return PutUpdateSetting("recommended ", kUpdateRecommended, included); }),
};

}  // namespace test_support
