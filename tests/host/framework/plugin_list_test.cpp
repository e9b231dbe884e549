// Plug-in lists good and bad: what is read, and the sentence that a person gets.
#include "framework/plugin_list.h"

#include <windows.h>

#include <gmock/gmock.h>

#include "tests/support/temporary_folder.h"

namespace host {
namespace {

using testing::HasSubstr;

std::string Wrap(const std::string& plugins) {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<settings>\n<plugins>\n" + plugins +
           "\n</plugins>\n</settings>\n";
}

class PluginList : public testing::Test {
protected:
    int Read(const std::string& text) {
        test_support::WriteFileText(m_path, text);
        return static_cast<int>(m_list.Read(m_path, m_failure));
    }

    test_support::TemporaryFolder m_folder;
    const std::wstring m_path = m_folder.File(L"plugins.xml");
    CPluginList m_list;
    std::wstring m_failure;
};

TEST_F(PluginList, KeepsTheOrderAndPassesOverWhatIsNotItsOwn) {
    ASSERT_EQ(
        Read("\xEF\xBB\xBF" + Wrap("<!-- <plugin/> -->"
                                   "<plugin name=\"Zulu\" dll=\"z.dll\" startup=\"2\" note=\"x\"/>"
                                   "<plugin startup=\"0\" dll=\"C:\\a &amp; b.dll\" name=\"zulu\"></plugin>"
                                   "<plugin name=\"caf\xC3\xA9\" dll=\"m.dll\" startup=\"1\"/>")),
        0u);
    ASSERT_EQ(m_list.Entries().size(), 3u);
    EXPECT_EQ(m_list.Entries()[0].name, L"Zulu");
    EXPECT_EQ(m_list.Entries()[0].startup, PluginStartup::OnRequest);
    EXPECT_EQ(m_list.Entries()[1].name, L"zulu");
    EXPECT_EQ(m_list.Entries()[1].library, L"C:\\a & b.dll");
    EXPECT_EQ(m_list.Entries()[1].startup, PluginStartup::Off);
    EXPECT_EQ(m_list.Entries()[2].name, L"caf\u00E9");
    EXPECT_EQ(m_list.Entries()[2].startup, PluginStartup::AtLoad);

    ASSERT_EQ(Read("<settings><other><plugin/></other><plugins/></settings>"), 0);
    EXPECT_TRUE(m_list.Entries().empty());
}

TEST_F(PluginList, RefusesABadFileWithItsLineAndReason) {
    const struct {
        const char* what;
        std::string text;
        const wchar_t* reason;
    } kCases[] = {
        {"empty", "", L"isn't well-formed XML"},
        {"not XML", "{\"plugins\": []}", L"isn't well-formed XML"},
        {"cut off", Wrap("").substr(0, 60), L"isn't well-formed XML"},
        {"tags crossed", "<settings><plugins></settings></plugins>", L"isn't well-formed XML"},
        {"a document type", "<!DOCTYPE a [<!ENTITY b \"c\">]>" + Wrap(""), L"isn't well-formed XML"},
        {"another root", "<plugins/>", L"has \"plugins\" in place of \"settings\""},
        {"no plugins", "<settings/>", L"no \"plugins\""},
        {"misspelt", Wrap("<plugn name=\"a\" dll=\"a.dll\" startup=\"1\"/>"), L"line 4 has \"plugn\""},
        {"no name", Wrap("\n<plugin dll=\"a.dll\" startup=\"1\"/>"),
         L"line 5 has a plug-in without a \"name\""},
        {"empty dll", Wrap("<plugin name=\"a\" dll=\"\" startup=\"1\"/>"), L"without a \"dll\""},
        {"no startup", Wrap("<plugin name=\"a\" dll=\"a.dll\"/>"), L"without a \"startup\""},
        {"startup 3", Wrap("<plugin name=\"a\" dll=\"a.dll\" startup=\"3\"/>"), L"must be 0, 1 or 2"},
        {"startup -1", Wrap("<plugin name=\"a\" dll=\"a.dll\" startup=\"-1\"/>"), L"must be 0, 1 or 2"},
        {"startup 01", Wrap("<plugin name=\"a\" dll=\"a.dll\" startup=\"01\"/>"), L"must be 0, 1 or 2"},
        {"twice",
         Wrap("<plugin name=\"a\" dll=\"a.dll\" startup=\"1\"/><plugin name=\"a\" dll=\"b.dll\" "
              "startup=\"2\"/>"),
         L"names the plug-in \"a\" a second time"},
    };
    for (const auto& testCase : kCases) {
        EXPECT_EQ(Read(testCase.text), ERROR_INVALID_DATA) << testCase.what;
        EXPECT_THAT(m_failure, HasSubstr(testCase.reason)) << testCase.what;
        EXPECT_THAT(m_failure, HasSubstr(m_path)) << testCase.what;
        EXPECT_TRUE(m_list.Entries().empty()) << testCase.what;
    }
}

TEST_F(PluginList, TellsTheSystemsReasonForAFileThatCannotBeRead) {
    EXPECT_EQ(m_list.Read(m_folder.File(L"missing.xml"), m_failure),
              static_cast<uint32_t>(ERROR_FILE_NOT_FOUND));
    EXPECT_THAT(m_failure, HasSubstr(L"missing.xml can't be read: "));
    EXPECT_THAT(m_failure, HasSubstr(L"(2)."));
    EXPECT_NE(m_list.Read(m_folder.Path(), m_failure), 0u) << "a folder";
}

}  // namespace
}  // namespace host
