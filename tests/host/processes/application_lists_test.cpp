// The lists of applications, their file, and what observers hear when somebody changes it.
#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "frame/json.h"
#include "frame/vx_string.h"
#include "optimizerprocessdp/application_file.h"
#include "optimizerprocessdp/optimizer_process_provider.h"
#include "tests/host/processes/told.h"
#include "tests/support/fake_host.h"
#include "tests/support/fake_product_info.h"
#include "tests/support/simulated_log.h"
#include "tools/rig/temporary_folder.h"

namespace host {
namespace {

using optimizer::profiles::profile;

TEST(ApplicationLists, DamagedFilesAreToldAndGoodOnesComeBackAsTheyWere) {
    const rig::TemporaryFolder folder;
    const std::wstring path = folder.File(L"applications.json");
    ApplicationLists lists;
    ASSERT_TRUE(AddApplication(*lists.Of(profile::Work), {L"kept.exe", L"Kept \x00e4"}));
    EXPECT_FALSE(AddApplication(*lists.Of(profile::Work), {L"KEPT.exe", L"kept \x00c4"}));
    EXPECT_FALSE(RemoveApplication(*lists.Of(profile::Work), {L"kept.exe", L""}));
    EXPECT_EQ(lists.Of(profile::Battery), nullptr);
    std::wstring failure;
    EXPECT_EQ(ReadApplications(path, lists, failure), SettingsFileState::Absent);
    ASSERT_TRUE(WriteApplications(path, lists, failure));
    ApplicationLists read;
    ASSERT_EQ(ReadApplications(path, read, failure), SettingsFileState::Ok);
    EXPECT_EQ(read.ToJson().serialize(), lists.ToJson().serialize());

    for (const char* const text :
         {"", "[]", "{\"Game\":", R"({"Battery":[]})", R"({"Game":{}})", R"({"Game":[{"product":"p"}]})",
          R"({"Game":[{"name":""}]})", R"({"Game":[{"name":"C:\\a.exe"}]})",
          R"({"Game":[{"name":"a","product":1}]})"}) {
        rig::WriteFileText(path, text);
        failure.clear();
        EXPECT_EQ(ReadApplications(path, read, failure), SettingsFileState::Broken) << text;
        EXPECT_NE(failure, L"");
        EXPECT_EQ(read.Of(profile::Work)->size(), 1U) << "as they were";
    }
    EXPECT_FALSE(WriteApplications(folder.File(L"none\\a.json"), lists, failure));
}

/// Collects events as one text: "+2game.exe/product", the same with "-", and "*2" for a changed list.
struct Observer final : IOptimizerProcessDPEvents, IOptimizerProcessDPDetailsEvents, Told {
    void OnProcessesListChanged(const ProcessEventKind* kind, const profile* which) override {
        EXPECT_EQ(*kind, ProcessEventKind::List);
        Tell(L"*", *which, nullptr);
    }
    void OnProcessesAdded(const ProcessEventKind* kind, const profile* which,
                          OptimizerProcessList* all) override {
        EXPECT_EQ(*kind, ProcessEventKind::Entries);
        Tell(L"+", *which, all);
    }
    void OnProcessesRemoved(const ProcessEventKind*, const profile* which,
                            OptimizerProcessList* all) override {
        Tell(L"-", *which, all);
    }
    void Tell(const wchar_t* sign, profile which, OptimizerProcessList* all) {
        std::wstring event = sign + std::to_wstring(static_cast<uint32_t>(which));
        ProcessEntryEnum* const walk = all != nullptr ? all->CreateConstEnum() : nullptr;
        for (; walk != nullptr && walk->HasCurrent(); walk->MoveNext())
            event += std::wstring(walk->Current()->GetApplicationName()) + L"/" +
                     walk->Current()->GetProductName();
        if (walk != nullptr) walk->Release();
        Add(event);
    }
};

class OptimizerProcessProvider : public testing::Test {
protected:
    OptimizerProcessProvider() {
        std::filesystem::create_directory(m_folder.File(L"optimizer"));
        m_product.folder = m_folder.Path();
        m_host.manager.plugins[L"productinfo"] = &m_product;
    }
    void Write(const std::string& text) const { rig::WriteFileText(m_path, text); }
    bool IsIncluded(uint32_t list, const wchar_t* name, const wchar_t* product) {
        const auto kind = static_cast<ProcessListKind>(list);
        const vx::String vxName(name);
        const vx::String vxProduct(product);
        bool result = false;
        EXPECT_EQ(m_provider.IsIncluded(&kind, &vxName, &vxProduct, &result), 0U);
        return result;
    }

    rig::TemporaryFolder m_folder;
    const std::wstring m_path = m_folder.File(L"optimizer\\applications.json");
    test_support::FakeHost m_host;
    test_support::FakeProductInfo m_product;
    test_support::TraceRecorder m_traces;
    Observer m_observer;
    COptimizerProcessProvider m_provider;
};

TEST_F(OptimizerProcessProvider, FollowsTheFile) {
    Write(R"({"Game":[{"name":"A.exe","product":"P"},{"name":"b.exe"}],"Work":[]})");
    ASSERT_EQ(m_provider.Init(&m_host), 0U);
    EXPECT_EQ(m_host.manager.references[L"productinfo"], 0);
    EXPECT_TRUE(IsIncluded(2, L"a.EXE", L"p"));
    EXPECT_FALSE(IsIncluded(2, L"a.exe", L""));
    EXPECT_TRUE(IsIncluded(2, L"b.exe", L"anything"));
    EXPECT_FALSE(IsIncluded(1, L"b.exe", L""));
    const vx::String text(L"x");
    constexpr auto kBattery = static_cast<ProcessListKind>(4);
    bool result = false;
    EXPECT_EQ(m_provider.IsIncluded(&kBattery, &text, &text, &result), uint32_t{ERROR_INVALID_PARAMETER});

    m_provider.RegisterDetailsEvents(&m_observer);
    m_provider.RegisterListEvents(&m_observer);
    ASSERT_EQ(m_provider.Start(), 0U);
    Write(R"({"Game":[{"name":"b.exe","product":"Q"},{"name":"b.exe"}],"Movie":[{"name":"M.exe"}]})");
    EXPECT_TRUE(m_observer.Hears(L"+2b.exe/q-2a.exe/p*2+3m.exe/*3"));
    Write(R"({"Game":[{"name":"b.exe"}],"Movie":[{"name":"m.EXE"}]})");
    EXPECT_TRUE(m_observer.Hears(L"*2")) << "another entry still covers the one that went";
    Write("{\"Game\":");
    EXPECT_TRUE(rig::WaitUntil([&] {
        const auto lines = m_traces.Lines();
        return std::any_of(lines.begin(), lines.end(), [&](auto& line) { return line.starts_with(m_path); });
    }));
    EXPECT_TRUE(IsIncluded(2, L"b.exe", L"")) << "a broken file changes nothing";
    ASSERT_TRUE(DeleteFileW(m_path.c_str()));
    EXPECT_TRUE(m_observer.Hears(L"-2b.exe/*2-3m.exe/*3"));
    EXPECT_EQ(m_provider.UnregisterListEvents(&m_observer), 0U);
    Write(R"({"Work":[{"name":"w.exe"}]})");
    EXPECT_TRUE(m_observer.Hears(L"+1w.exe/"));
    EXPECT_EQ(m_provider.Stop(), 0U);
}

}  // namespace
}  // namespace host
