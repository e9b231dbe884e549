// What the command line makes of a boot's figures.
#include <gmock/gmock.h>

#include "tests/tools/optimizerctl/fake_surroundings.h"
#include "tools/rig/temporary_folder.h"

namespace ctl_test {
namespace {

using test_support::Impact;
using testing::HasSubstr;
using testing::Not;

class Boot : public testing::Test {
protected:
    Boot() {
        m_person.boot.processes = {Impact(4, L"System", {500, 0, 100, 200, 5}),
                                   Impact(612, L"C:\\Tools\\big.exe", {200, 50, -1073741824, 1234567, 0}),
                                   Impact(700, L"C:\\a <b> & 'c'.exe", {0, 250, 900, 0, 0})};
    }

    Person m_person;
};

TEST_F(Boot, ProcessesAreSortedByWhatTheyCostWithTheirShares) {
    EXPECT_EQ(m_person.Types({L"boot", L"impact"}).out, R"(The boot took 42.37 s; 3 processes were measured.
Shares are of the CPU time.

   CPU ms     share  kernel ms    user ms       read bytes          written            other       pid  process
      500     50.0%       500          0              100              200                5         4  System
      250     25.0%       200         50   -1,073,741,824*       1,234,567                0       612  C:\Tools\big.exe
      250     25.0%         0        250              900                0                0       700  C:\a <b> & 'c'.exe
    1,000    100.0%       700        300            1,000*       1,234,767                5            all 3 processes
* More than 2 GiB: the process's counter wrapped, and the figure isn't the amount. Shares and totals leave it out.
)");
    const std::pair<const wchar_t*, const char*> orders[] = {
        {L"read", R"("name":"C:\\Tools\\big.exe")"}, {L"written", R"("name":"C:\\Tools\\big.exe")"},
        {L"user", R"("name":"C:\\a <b>)"},           {L"other", R"("name":"System")"},
        {L"name", R"("name":"C:\\a <b>)"},           {L"pid", R"("name":"System")"},
    };
    for (const auto& [order, first] : orders) {
        const std::string out =
            m_person.Types({L"boot", L"impact", L"--json", L"--top", L"1", L"--sort", order}).out;
        EXPECT_THAT(out, HasSubstr(first)) << out;
    }
    EXPECT_EQ(m_person.Types({L"boot", L"impact", L"--json", L"--top", L"1", L"--sort", L"read"}).out,
              R"({"count":3,"milliseconds":42370,"processes":[{"cpu":250,"kernel":200,)"
              R"("name":"C:\\Tools\\big.exe","other":0,"pid":612,"ppid":100,"read":-1073741824,"share":null,)"
              R"("user":50,"written":1234567}],"shareOf":"read","total":{"cpu":1000,"kernel":700,"other":5,)"
              R"("read":1000,"user":300,"written":1234767}})"
              "\n");
    EXPECT_THAT(m_person.Types({L"boot", L"impact", L"--sort", L"size"}).err,
                HasSubstr("choose cpu, kernel"));
}

TEST_F(Boot, EachStateOfTheMeasurementHasASentenceAndACode) {
    struct Row {
        std::vector<std::wstring> arguments;
        uint32_t result;
        uint32_t diskResult;
        uint32_t connection;
        int exitCode;
        const char* text;
    };
    const Row rows[] = {
        {{L"time"}, 0, 0, 0, 0, "The boot took 42.37 s.\n"},
        {{L"time", L"--json"}, 0, 0, 0, 0, "{\"milliseconds\":42370}\n"},
        {{L"time"}, 1, 1, 0, 1, "still being measured; try again in a few minutes, or add --wait."},
        {{L"time"}, 2, 2, 0, 1, "no figures of a boot"},
        {{L"impact"}, 2, 2, 0, 1, "no figures of a boot"},
        {{L"time"}, 2, 2, ERROR_BROKEN_PIPE, 3, "The service can't be reached"},
        {{L"time"}, 31, 0, 0, 1, "doesn't tell the figures"},
        {{L"disk"}, 0, 0, 0, 0, "12.0% of the time on average, between 0.5% and 99.3%."},
        {{L"disk"}, 1, 1, 0, 1, "still being measured"},
        {{L"disk"}, 0, 1, 0, 1, "The disk was not measured"},
        {{L"time", L"--wait", L"--timeout", L"0.1"}, 1, 1, 0, 4, "not measured to its end within 0.1 s"},
        {{L"time", L"--in-process"}, 0, 0, 0, 2, "leave --in-process out"},
    };
    for (const Row& row : rows) {
        std::vector<std::wstring> arguments = {L"boot"};
        arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
        SCOPED_TRACE(testing::PrintToString(arguments));
        m_person.boot.result = row.result;
        m_person.boot.diskResult = row.diskResult;
        m_person.boot.connection = row.connection;
        const Outcome outcome = m_person.Types(arguments);
        EXPECT_EQ(outcome.exitCode, row.exitCode);
        EXPECT_THAT(outcome.out + outcome.err, HasSubstr(row.text));
    }
    // Nothing listens before the first question when the end comes this early.
    m_person.boot.result = 1;
    m_person.boot.onRegister = [&](boottime::IBootTimeEvents& events) {
        m_person.boot.result = 0;
        events.OnDataAnalysed(0);
    };
    EXPECT_EQ(m_person.Types({L"boot", L"time", L"--wait"}).exitCode, 0);
    EXPECT_EQ(m_person.boot.events.IsEmpty(), true) << "the observer is gone at the end";
}

/// Whether each element that was opened is closed in its order.
bool IsWellFormed(const std::string& page) {
    std::vector<std::string> open;
    for (size_t at = page.find('<'); at != std::string::npos; at = page.find('<', at + 1)) {
        const size_t end = page.find_first_of(" >", at);
        const std::string name = page.substr(at + 1, end - at - 1);
        if (name == "!DOCTYPE" || name == "meta") continue;
        if (name[0] != '/') {
            open.push_back(name);
        } else if (open.empty() || "/" + open.back() != name) {
            return false;
        } else {
            open.pop_back();
        }
    }
    return open.empty();
}

TEST_F(Boot, AReportIsOneSoundPageAndAFailedOneLosesNothing) {
    const rig::TemporaryFolder folder;
    const std::wstring file = folder.File(L"boot.html");
    rig::WriteFileText(file, "old");
    m_person.boot.result = 1;
    EXPECT_EQ(m_person.Types({L"boot", L"report", file}).exitCode, 1);
    EXPECT_EQ(rig::ReadFileText(file), "old");
    m_person.boot.result = 0;
    for (const uint32_t diskResult : {0u, 1u}) {
        m_person.boot.diskResult = diskResult;
        EXPECT_EQ(m_person.Types({L"boot", L"report", file}).exitCode, 0);
        const std::string page = rig::ReadFileText(file);
        EXPECT_TRUE(IsWellFormed(page));
        EXPECT_THAT(page, HasSubstr("42.4 <small>seconds"));
        EXPECT_THAT(page, HasSubstr("Boot report of R&amp;D"));
        EXPECT_THAT(page, HasSubstr("a &lt;b&gt; &amp; &#39;c&#39;.exe</b>"));
        EXPECT_THAT(page, HasSubstr("big.exe</b><span>more than 2 GiB"));
        EXPECT_THAT(page, HasSubstr("<td>-1,073,741,824<i>*</i></td>"));
        EXPECT_THAT(page, HasSubstr(diskResult == 0 ? "<dd>12.0%</dd>" : "<dd>not measured</dd>"));
        for (const char* foreign : {"<script", "http:", "https:", "url(", "@import", "<link"})
            EXPECT_THAT(page, Not(HasSubstr(foreign)));
    }
    const Outcome outcome = m_person.Types({L"boot", L"report", folder.File(L"gone\\boot.html")});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(outcome.err, HasSubstr("gone\\boot.html: "));
    EXPECT_THAT(outcome.err, HasSubstr("give a file in a folder that you may write to."));
    m_person.boot.processes.clear();
    EXPECT_EQ(m_person.Types({L"boot", L"report", file}).exitCode, 0);
    EXPECT_TRUE(IsWellFormed(rig::ReadFileText(file)));
}

}  // namespace
}  // namespace ctl_test
