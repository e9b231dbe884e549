// When log.dll writes and where to: its settings file, its switches, and that it never gets in its caller's
// way.
#include <gmock/gmock.h>

#include "tests/host/log/loaded_log.h"

namespace {

TEST(LogSettings, FileIsReadMemberByMember) {
    const struct {
        const char* what;
        const char* json;
        bool enabled;
        bool writesWarning;
        bool writesInfo;
        const wchar_t* file;
    } kCases[] = {
        {"absent", nullptr, true, true, false, L"logs\\log_tests.log"},
        {"not JSON", "{\"level\":16", true, true, false, L"logs\\log_tests.log"},
        {"no object", "[16]", true, true, false, L"logs\\log_tests.log"},
        {"wrong types", R"({"enabled":0,"level":"16","path":7,"maxSizeBytes":"x"})", true, true, false,
         L"logs\\log_tests.log"},
        {"out of range", R"({"level":1e300,"maxSizeBytes":-1})", true, true, false, L"logs\\log_tests.log"},
        {"all members", R"({"enabled":true,"level":16,"path":"a\\b\\c.txt","maxSizeBytes":0})", true, true,
         true, L"a\\b\\c.txt"},
        {"byte order mark", "\xEF\xBB\xBF{\"level\":4}", true, false, false, L"logs\\log_tests.log"},
        {"off", R"({"enabled":false})", false, false, false, L"logs\\log_tests.log"},
    };
    for (const auto& testCase : kCases) {
        SCOPED_TRACE(testCase.what);
        const LoadedLog log;
        if (testCase.json != nullptr) log.WriteSettings(testCase.json);
        log.Get<decltype(LogInit)>("LogInit")();
        EXPECT_EQ(log.Get<decltype(LogIsEnabled)>("LogIsEnabled")() != 0, testCase.enabled);
        log.Write(16, L"info");
        EXPECT_EQ(test_support::FileExists(log.File(testCase.file)), testCase.writesInfo);
        log.Write(8, L"warning");
        EXPECT_EQ(test_support::FileExists(log.File(testCase.file)), testCase.writesWarning);
    }
}

TEST(LogSettings, SizeLimitOfTheFileHolds) {
    const LoadedLog log;
    log.WriteSettings(R"({"maxSizeBytes":300})");
    log.Get<decltype(LogInit)>("LogInit")();
    for (int i = 0; i < 20; ++i)
        log.Write(4, L"line");
    EXPECT_LE(test_support::ReadFileText(log.DefaultFile()).size(), 300u);
}

TEST(LogSettings, ApplyReadsTheNamedFileAnew) {
    const LoadedLog log;
    ASSERT_TRUE(SetEnvironmentVariableW(L"LOG_TEST_FOLDER", log.File(L"elsewhere").c_str()));
    test_support::WriteFileText(log.File(L"my.json"), R"({"path":"%LOG_TEST_FOLDER%\\x.log"})");
    log.Get<decltype(LogInit)>("LogInit")();
    log.Get<decltype(LogEnable)>("LogEnable")(0);
    log.Get<decltype(LogSetSettingsFile)>("LogSetSettingsFile")(log.File(L"my.json").c_str());
    log.Get<decltype(LogApplySettings)>("LogApplySettings")();
    log.Write(4, L"line");
    EXPECT_EQ(LinesOf(log.File(L"elsewhere\\x.log")).size(), 1u);
}

TEST(LogSettings, SwitchesWorkAtOnce) {
    const LoadedLog log;
    log.Get<decltype(LogInit)>("LogInit")();
    log.Get<decltype(LogEnable)>("LogEnable")(0);
    EXPECT_EQ(log.Write(4, L"unwanted"), 0);
    log.Get<decltype(LogEnable)>("LogEnable")(1);
    log.Get<decltype(LogSetPath)>("LogSetPath")(log.File(L"other.log").c_str());
    log.Write(4, L"line");
    EXPECT_EQ(LinesOf(log.File(L"other.log")).size(), 1u);
    EXPECT_FALSE(test_support::FileExists(log.DefaultFile()));
}

TEST(LogLife, InitIsCountedAndNothingIsWrittenOutsideIt) {
    const LoadedLog log;
    const auto init = log.Get<decltype(LogInit)>("LogInit");
    const auto deinit = log.Get<decltype(LogDeinit)>("LogDeinit");
    deinit();  // one too many mustn't eat the next init
    log.Write(4, L"before");
    init();
    init();
    deinit();
    log.Write(4, L"between");
    deinit();
    log.Write(4, L"after");
    log.Write(INT32_MIN, L"after");
    const auto lines = LinesOf(log.DefaultFile());
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_THAT(lines[0], testing::EndsWith("between"));
}

TEST(LogLife, EveryFunctionMayBeCalledBeforeInitAndWithNothing) {
    const LoadedLog log;
    const uint32_t invalid = ERROR_INVALID_PARAMETER;
    const uint32_t notSupported = ERROR_NOT_SUPPORTED;
    EXPECT_EQ(log.Get<decltype(LogApplySettings)>("LogApplySettings")(), 0u);
    EXPECT_EQ(log.Get<decltype(LogSetSettingsFile)>("LogSetSettingsFile")(nullptr), 0u);
    EXPECT_EQ(log.Get<decltype(LogSetPath)>("LogSetPath")(nullptr), invalid);
    EXPECT_EQ(log.Get<decltype(LogSetType)>("LogSetType")(0), 0u);
    EXPECT_EQ(log.Get<decltype(LogSetType)>("LogSetType")(1), invalid);
    EXPECT_EQ(log.Get<decltype(LogSetDepth)>("LogSetDepth")(2), 0u);
    EXPECT_EQ(log.Get<decltype(LogUninitDeskMetrics)>("LogUninitDeskMetrics")(), 0u);
    EXPECT_EQ(log.Get<decltype(LogTrackEvent)>("LogTrackEvent")(nullptr), notSupported);
    EXPECT_EQ(log.Get<decltype(LogTrackEventData)>("LogTrackEventData")(nullptr, nullptr), notSupported);
    const int32_t level = 4;
    va_list nothing = {};
    const auto write = log.Get<LogWriteFunction>("LogWrite");
    EXPECT_EQ(write(0, nullptr, nullptr, nullptr, L"x", nothing), static_cast<int32_t>(invalid));
    EXPECT_EQ(write(0, &level, nullptr, nullptr, nullptr, nothing), static_cast<int32_t>(invalid));
    log.Get<decltype(LogInit)>("LogInit")();
    EXPECT_EQ(write(0, &level, nullptr, nullptr, L"x", nothing), 0);
    EXPECT_EQ(LinesOf(log.DefaultFile()).size(), 1u);
}

TEST(LogLife, AFolderThatCannotBeWrittenMeansSilence) {
    const LoadedLog log;
    test_support::WriteFileText(log.File(L"logs"), "a file where the folder should be");
    log.Get<decltype(LogInit)>("LogInit")();
    SetLastError(1234);
    EXPECT_NE(log.Write(4, L"line"), 0);
    EXPECT_EQ(GetLastError(), 1234u) << "the caller may be about to read it";
}

}  // namespace
