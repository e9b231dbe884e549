// The settings of tasks: current values before shipped ones, and what broken texts and files cost.
#include "settings/tasks_settings.h"

#include <gtest/gtest.h>

#include "tools/rig/temporary_folder.h"

namespace {

TEST(TasksSettings, CurrentValuesComeBeforeShippedOnesAndCanBeReset) {
    const rig::TemporaryFolder folder;
    const std::wstring current = folder.File(L"current_tasks.json");
    rig::WriteFileText(folder.File(L"tasks.json"), R"({"DiskCleaner": {"b": 1, "a": 2}, "": 1})");
    optimizer::CTasksSettings store(folder.File(L"tasks.json"), current);
    constexpr int kDiskCleaner = 0;
    constexpr int kUnknown = 1;
    const struct {
        const char* before;
        const wchar_t* text;  // null: a reset
        const char* after;
        const wchar_t* read;
    } cases[] = {
        {"", L"[ 1, \"\u00e9\" ]", "{\"DiskCleaner\":[1,\"\xc3\xa9\"]}", L"[1,\"\u00e9\"]"},
        {R"({"Other":1})", L"5", R"({"DiskCleaner":5,"Other":1})", L"5"},
        {R"({"Other":1})", LR"({"x":)", R"({"Other":1})", LR"({"a":2,"b":1})"},
        {"{}", L"[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]]", "{}",
         LR"({"a":2,"b":1})"},
        {R"({"broken)", L"null", R"({"DiskCleaner":null})", LR"({"a":2,"b":1})"},
        {R"({"DiskCleaner":0,"Z":1})", nullptr, R"({"DiskCleaner":{"a":2,"b":1},"Z":1})",
         LR"({"a":2,"b":1})"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(&test - cases);
        rig::WriteFileText(current, test.before);
        test.text != nullptr ? store.SetTaskSettings(&kDiskCleaner, test.text)
                             : store.ResetTaskSettings(&kDiskCleaner);
        EXPECT_FALSE(store.SetTaskSettings(&kUnknown, L"1") || store.ResetTaskSettings(&kUnknown));
        EXPECT_EQ(rig::ReadFileText(current), test.after);
        std::wstring read;
        EXPECT_TRUE(store.GetTaskSettings(&kDiskCleaner, read));
        EXPECT_EQ(read, test.read);
        EXPECT_FALSE(store.GetTaskSettings(&kUnknown, read));
    }
}

}  // namespace
