// The component as its host and clients meet it, over a boot that the test drives.
#include "boottime/boot_time_plugin.h"

#include "frame/vx_list.h"
#include "tests/boottime/boot_fixture.h"

namespace boottime {
namespace {

constexpr const wchar_t* kTime = L"last_boot_time_information.json";
constexpr const wchar_t* kImpact = L"last_boot_time_process_impact.json";

class BootTimePluginTest : public test_support::BootFixture {
protected:
    ~BootTimePluginTest() override { m_plugin.Stop(); }

    void Begin() {
        ASSERT_EQ(m_plugin.Init(&m_host), 0U);
        ASSERT_EQ(m_plugin.AddEventsObserver(this), 0U);
        ASSERT_EQ(m_plugin.Start(), 0U);
    }
    CBootTimePlugin m_plugin;
};

TEST_F(BootTimePluginTest, ABootIsMeasuredStoredAndTold) {
    m_machine.processes = {{4, {0, 3ULL << 30, 50}}, {6, {900, 10, 0}}};
    m_machine.onPass = [this](int pass) {
        if (pass == 2) LogOn();
        uint32_t timeMs = 7;
        EXPECT_TRUE(m_plugin.GetBootTime(&timeMs) == 1 && timeMs == 7);
    };
    Begin();
    EXPECT_EQ(AwaitEnd(), 0U);
    uint32_t timeMs = 0;
    EXPECT_EQ(m_plugin.GetBootTime(&timeMs), 0U);
    EXPECT_EQ(timeMs, 83000U);
    EXPECT_EQ(rig::ReadFileText(File(kTime)),
              R"({"bootTime":"83000","systemStartTimestamp":"13000000000000"})");
    EXPECT_EQ(
        rig::ReadFileText(File(kImpact)),
        R"({"processes":[{"counters":["50","7","-1073741824","1610612736","1"],"name":"C:\\found.exe","pid":"4","ppid":"0"},)"
        R"({"counters":["27000","7","10","5","1"],"name":"C:\\found.exe","pid":"6","ppid":"0"}]})");
    m_plugin.Stop();
    m_plugin.UnInit();
}

}  // namespace
}  // namespace boottime
