#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "frame/users_library.h"
#include "profile/action_map.h"
#include "profile/optimizer_profile.h"
#include "settings/settings_manager.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_product_info.h"
#include "tools/rig/temporary_folder.h"

namespace test_support {

/// What the recorded actions of a test do to their machine, which is a map of numbers, and the order they do
/// it in.
struct Machine {
    std::map<std::wstring, double> values;
    std::vector<std::wstring> log;  // "start A", "update A", "revert A"
    /// Hears of each of them, and of "stop A" from another thread.
    std::function<void(const std::wstring& event)> onEvent = [](const std::wstring&) {};
    std::wstring failing;  // the action whose Start says that it failed
    std::wstring unfit;    // the action that can't return to what an earlier run saved
    std::wstring unnoted;  // the action that can't tell what it would have to return to
    std::wstring stuck;    // the action whose way back doesn't get through
    uint32_t stuckCode = ERROR_BUSY;
    int created = 0;
    int alive = 0;
};

/// The machine that the actions of RecordingFactory work on; the fixture sets it.
extern Machine* g_machine;

/// Makes actions for the names "A" to "F" and the process-wide one, and that of the agents; each sets its
/// value of the machine to the number it is given.
optimizer::ActionPointer RecordingFactory(const std::wstring& name, const std::string& parameters,
                                          IServMain* main);

/// The engine on a real settings store in a folder of its own, with a queue that the test runs by hand.
class EngineFixture : public testing::Test {
protected:
    using profile = optimizer::profiles::profile;

    EngineFixture();
    ~EngineFixture() override;

    void WriteProfiles(const std::string& text) const { rig::WriteFileText(File(L"profiles.json"), text); }
    std::wstring File(const std::wstring& name) const { return m_folder.File(L"optimizer\\" + name); }
    std::string SystemFile() const { return rig::ReadFileText(File(L"system_restore_profile.json")); }
    std::string UserFile() const { return rig::ReadFileText(File(L"DOM_ann_restore_profile.json")); }
    std::vector<std::wstring> TakeLog() { return std::exchange(m_machine.log, {}); }

    Machine m_machine;
    rig::TemporaryFolder m_folder;
    FakeHost m_host;
    FakeProductInfo m_product;
    optimizer::CSettingsManager m_settings;
};

}  // namespace test_support
