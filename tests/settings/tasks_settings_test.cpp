// The settings of tasks: current values before shipped ones, and what broken texts and files cost.
#include "settings/tasks_settings.h"

#include <gtest/gtest.h>

#include "tools/rig/temporary_folder.h"

namespace optimizer {
namespace {

constexpr int kDiskCleaner = 0;
constexpr int kUnknown = 1;

TEST(TasksSettings, CurrentValuesComeBeforeShippedOnesAndCanBeReset) {
    const rig::TemporaryFolder folder;
    const std::wstring current = folder.File(L"current_tasks.json");
    rig::WriteFileText(folder.File(L"tasks.json"), R"({"DiskCleaner": {"b": 1, "a": 2}})");
    CTasksSettings store(folder.File(L"tasks.json"), current);
    std::wstring text = L"as it was";
    EXPECT_FALSE(store.GetTaskSettings(&kUnknown, text));
    EXPECT_EQ(text, L"as it was");
    EXPECT_TRUE(store.GetTaskSettings(&kDiskCleaner, text));
    EXPECT_EQ(text, LR"({"a":2,"b":1})");

    const struct {
        const char* before;
        const wchar_t* text;  // null: a reset
        bool result;
        const char* after;
    } cases[] = {
        {"", L"[ 1, \"\u00e9\" ]", true, "{\"DiskCleaner\":[1,\"\xc3\xa9\"]}"},
        {"{\"Other\":1}", L"5", true, "{\"DiskCleaner\":5,\"Other\":1}"},
        {"{\"Other\":1}", L"{\"x\":", false, "{\"Other\":1}"},
        {"{\"broken", L"null", true, "{\"DiskCleaner\":null}"},
        {"[2]", L"5", true, "{\"DiskCleaner\":5}"},
        {"{\"DiskCleaner\":0,\"Other\":1}", nullptr, true, "{\"DiskCleaner\":{\"a\":2,\"b\":1},\"Other\":1}"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        rig::WriteFileText(current, test.before);
        const bool result = test.text != nullptr ? store.SetTaskSettings(&kDiskCleaner, test.text)
                                                 : store.ResetTaskSettings(&kDiskCleaner);
        EXPECT_EQ(result, test.result);
        EXPECT_EQ(rig::ReadFileText(current), test.after);
        EXPECT_FALSE(store.SetTaskSettings(&kUnknown, L"1") || store.ResetTaskSettings(&kUnknown));
    }
    rig::WriteFileText(current, R"({"DiskCleaner":null})");
    EXPECT_TRUE(store.GetTaskSettings(&kDiskCleaner, text)) << "a null counts as missing";
}

}  // namespace
}  // namespace optimizer
