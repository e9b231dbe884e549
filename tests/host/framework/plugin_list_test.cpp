// Plug-in lists good and bad: what is read, and the sentence that a person gets.
#include "framework/plugin_list.h"

#include <windows.h>

#include <gmock/gmock.h>

#include "tests/support/temporary_folder.h"

namespace host {
namespace {

class PluginList : public testing::Test {
protected:
    int Read(const std::string& text) {
        test_support::WriteFileText(path, text);
        return static_cast<int>(list.Read(path, failure));
    }

    test_support::TemporaryFolder folder;
    const std::wstring path = folder.File(L"plugins.xml");
    CPluginList list;
    std::wstring failure;
};

TEST_F(PluginList, RefusesABadFileWithItsLineAndReason) {
    const std::string begin = "<settings><plugins>\n";
    const std::string end = "</plugins></settings>";
    const std::string valid = "<plugin name=\"a\" dll=\"a.dll\" startup=\"1\"/>";
    const std::pair<std::string, const wchar_t*> cases[] = {
        {"", L"isn't well-formed XML"},
        {"<settings><plugins", L"isn't well-formed XML"},
        {"<settings><a></settings></a>", L"isn't well-formed XML"},
        {"<!DOCTYPE a [<!ENTITY b \"c\">]><settings><plugins/></settings>", L"isn't well-formed XML"},
        {"<plugins/>", L"has \"plugins\" in place of \"settings\""},
        {"<settings/>", L"no \"plugins\""},
        {begin + "<plugn/>" + end, L"line 2 has \"plugn\""},
        {begin + "\n<plugin dll=\"a.dll\" startup=\"1\"/>" + end, L"line 3 has a plug-in without a \"name\""},
        {begin + "<plugin name=\"a\" dll=\"\" startup=\"1\"/>" + end, L"without a \"dll\""},
        {begin + "<plugin name=\"a\" dll=\"a.dll\" startup=\"3\"/>" + end, L"must be 0, 1 or 2"},
        {begin + valid + valid + end, L"names the plug-in \"a\" a second time"},
    };
    for (const auto& [text, reason] : cases) {
        EXPECT_EQ(Read(text), ERROR_INVALID_DATA) << text;
        EXPECT_THAT(failure, testing::AllOf(testing::HasSubstr(path), testing::HasSubstr(reason)));
        EXPECT_TRUE(list.Entries().empty()) << text;
    }
    EXPECT_EQ(list.Read(folder.File(L"missing.xml"), failure), uint32_t{ERROR_FILE_NOT_FOUND});
    EXPECT_THAT(failure, testing::HasSubstr(L"missing.xml can't be read: "));
}

}  // namespace
}  // namespace host
