// The settings component: where it finds its folder, what it takes from the host, and that it gives it back.
#include "settings/settings_manager.h"

#include <filesystem>

#include <gtest/gtest.h>
#include <windows.h>

#include "frame/module_path.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_product_info.h"
#include "tests/support/temporary_folder.h"

namespace optimizer {
namespace {

using profiles::profile;

class SettingsManager : public testing::Test {
protected:
    SettingsManager() { m_host.manager.plugins[L"productinfo"] = &m_product; }

    /// Whether the store reads the definitions in `folder`.
    bool UsesFolder(const std::filesystem::path& folder) {
        std::filesystem::create_directories(folder);
        test_support::WriteFileText(folder.wstring() + L"profiles.json", R"({"Work":{"Found":{}}})");
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
    const test_support::TemporaryFolder data;
    std::wstring bare = data.Path();
    bare.pop_back();
    const std::wstring own = GetModuleFolder();
    const std::wstring relative = L"data_" + std::to_wstring(GetCurrentProcessId());
    const struct {
        std::wstring common;
        std::wstring above;  // the folder that holds "optimizer"
        std::wstring made;   // what the test removes
    } kCases[] = {
        {data.Path(), data.Path(), data.File(L"optimizer")},
        {bare, data.Path(), data.File(L"optimizer")},
        {relative, own + relative + L"\\", own + relative},
        {relative + L"\\", own + relative + L"\\", own + relative},
        {L"", own + L"settings\\", own + L"settings"},
    };
    for (const auto& c : kCases) {
        m_product.folder = c.common;
        ASSERT_EQ(m_manager.Init(&m_host), ERROR_SUCCESS);
        EXPECT_TRUE(UsesFolder(c.above + L"optimizer\\")) << std::filesystem::path(c.above);
        std::filesystem::remove_all(c.made);
        EXPECT_EQ(m_host.manager.references[L"productinfo"], 0);
    }
    m_product.hasFolder = false;
    ASSERT_EQ(m_manager.Init(&m_host), ERROR_SUCCESS);
    EXPECT_TRUE(UsesFolder(own + L"settings\\optimizer\\")) << "a null text is like an empty one";
    std::filesystem::remove_all(own + L"settings");
}

TEST_F(SettingsManager, AFailedInitTellsItsReasonAndHoldsNothing) {
    const struct {
        bool hasMain;
        bool hasManager;
        uint32_t pluginError;
        uint32_t error;
        int references;
    } kCases[] = {
        {false, true, 0, ERROR_INVALID_HANDLE, 0},
        {true, false, 0, ERROR_INVALID_HANDLE, 0},
        // Asked for once and given back once, also when it wasn't given.
        {true, true, ERROR_ACCESS_DENIED, ERROR_ACCESS_DENIED, -1},
    };
    for (const auto& c : kCases) {
        m_host.hasManager = true;
        ASSERT_EQ(m_manager.Init(&m_host), ERROR_SUCCESS);
        m_host.hasManager = c.hasManager;
        if (c.pluginError != 0) m_host.manager.errors[L"productinfo"] = c.pluginError;
        EXPECT_EQ(m_manager.Init(c.hasMain ? &m_host : nullptr), c.error);
        EXPECT_EQ(m_manager.GetProfilesSettings(), nullptr);
        EXPECT_EQ(m_host.manager.references[L"productinfo"], c.references);
    }
}

TEST_F(SettingsManager, EndsTwiceAndLeavesNothing) {
    m_manager.UnInit();
    ASSERT_EQ(m_manager.Init(&m_host), ERROR_SUCCESS);
    m_manager.UnInit();
    m_manager.UnInit();
    EXPECT_EQ(m_manager.GetProfilesSettings(), nullptr);
}

}  // namespace
}  // namespace optimizer
