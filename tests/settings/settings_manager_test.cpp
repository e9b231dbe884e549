// The settings component: where it finds its folder, and that it gives back what it takes from the host.
#include "settings/settings_manager.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <windows.h>

#include "frame/module_path.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_product_info.h"
#include "tools/rig/temporary_folder.h"

namespace optimizer {
namespace {

using profiles::profile;

class SettingsManager : public testing::Test {
protected:
    SettingsManager() { m_host.manager.plugins[L"productinfo"] = &m_product; }

    /// Whether the store reads the definitions in `folder`.
    bool UsesFolder(const std::filesystem::path& folder) {
        std::filesystem::create_directories(folder);
        rig::WriteFileText(folder.wstring() + L"profiles.json", R"({"Work":{"Found":{}}})");
        std::wstring actions;
        const profile work = profile::Work;
        m_manager.GetProfilesSettings()->GetSystemActions(&work, actions);
        return actions == LR"({"Found":{}})";
    }

    test_support::FakeHost m_host;
    test_support::FakeProductInfo m_product;
    CSettingsManager m_manager;
};

TEST_F(SettingsManager, TheFolderFollowsTheProductsConfiguration) {
    const rig::TemporaryFolder data;
    const std::wstring bare = data.Path().substr(0, data.Path().size() - 1);
    const std::wstring own = GetModuleFolder();
    const std::wstring relative = L"data_" + std::to_wstring(GetCurrentProcessId());
    const std::pair<std::wstring, std::wstring> kCases[] = {
        // what is configured, and the folder above
        {bare, data.Path()},
        {relative, own + relative + L"\\"},
        {L"", own + L"settings\\"},
    };
    for (const auto& [common, above] : kCases) {
        m_product.folder = common;
        ASSERT_EQ(m_manager.Init(&m_host), ERROR_SUCCESS);
        EXPECT_TRUE(UsesFolder(above + L"optimizer\\")) << std::filesystem::path(above);
        std::filesystem::remove_all(above);
        EXPECT_EQ(m_host.manager.references[L"productinfo"], 0);
    }
}

}  // namespace
}  // namespace optimizer
