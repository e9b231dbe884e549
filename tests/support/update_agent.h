// An object in the place of the Windows Update Agent, whose settings are numbers of the simulated power
// library's store: they outlive a process that is killed.
#pragma once

#include <functional>
#include <string>

#include "tests/support/simulated_power.h"

struct IUnknown;

namespace test_support {

inline constexpr const wchar_t* kUpdateLevel = L"UpdateLevel";              // 3 where there is none
inline constexpr const wchar_t* kUpdateRecommended = L"UpdateRecommended";  // a VARIANT_BOOL, otherwise 0

/// Serves as the class, the agent and its settings, which use different slots of one table.
class UpdateAgent {
public:
    /// Hears of each step ("create", "level 2", ...) before it is done. What isn't S_OK takes its place.
    using Step = std::function<HRESULT(const std::string& step)>;
    explicit UpdateAgent(Step step);

    int references = 0;
    const Step step;

    /// Gives the object itself under another of its interfaces, if the step lets it.
    HRESULT Give(const std::string& name, void** out);
    IUnknown* AsUnknown() { return reinterpret_cast<IUnknown*>(&m_object); }

private:
    struct Object {
        void** table;
        UpdateAgent* agent;
    };
    void* m_table[19] = {};
    Object m_object = {m_table, this};
};

}  // namespace test_support
