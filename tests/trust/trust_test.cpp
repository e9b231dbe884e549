// Whom SYSTEM believes: descriptors judged by themselves, and what becomes of files that others can change.
// The test's process passes for SYSTEM, and a file has the descriptor that the test says, for Wine keeps
// neither.
#include "trust/file_trust.h"

#include <map>

#include <gmock/gmock.h>

#include <aclapi.h>
#include <sddl.h>

#include "frame/handles.h"
#include "frame/text.h"
#include "host/service/logged_on.h"
#include "settings/guarded_file.h"
#include "settings/json_file.h"
#include "tools/rig/temporary_folder.h"
#include "trust/accounts.h"

namespace {

constexpr const wchar_t* kSound = L"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)(A;;FR;;;BU)";

/// By file name; the others are sound.
std::map<std::wstring, std::wstring> g_descriptors;

optimizer::LocalMemory Descriptor(const std::wstring& text) {
    optimizer::LocalMemory descriptor;
    EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1,
                                                                     descriptor.Receive(), nullptr));
    return descriptor;
}

BOOL WINAPI TellSystem(HANDLE, TOKEN_INFORMATION_CLASS, void* out, DWORD sizeBytes, DWORD* neededBytes) {
    auto* const user = static_cast<TOKEN_USER*>(out);
    DWORD left = SECURITY_MAX_SID_SIZE;
    *neededBytes = sizeBytes;
    user->User.Sid = user + 1;
    return CreateWellKnownSid(WinLocalSystemSid, nullptr, user->User.Sid, &left);
}

DWORD WINAPI TellDescriptor(HANDLE file, SE_OBJECT_TYPE, SECURITY_INFORMATION, PSID*, PSID*, PACL*, PACL*,
                            PSECURITY_DESCRIPTOR* descriptor) {
    wchar_t path[1024] = L"";
    GetFinalPathNameByHandleW(file, path, 1024, 0);
    const std::wstring whole = path;
    const auto known = g_descriptors.find(whole.substr(whole.find_last_of(L'\\') + 1));
    *descriptor = Descriptor(known != g_descriptors.end() ? known->second : kSound).Release();
    return ERROR_SUCCESS;
}

}  // namespace

extern "C" {
decltype(&GetTokenInformation) __imp_GetTokenInformation = &TellSystem;
decltype(&GetSecurityInfo) __imp_GetSecurityInfo = &TellDescriptor;
}

namespace optimizer {
namespace {

using rig::ReadFileText;
using rig::WriteFileText;
using testing::HasSubstr;

constexpr const wchar_t* kAnn = L"S-1-5-21-1-2-3-1001";
const std::wstring kOthersMayWrite = L"O:BAD:(A;;FA;;;SY)(A;;FA;;;BA)(A;;0x2;;;BU)";

TEST(Trust, JudgesWhoCouldChangeWhatADescriptorProtects) {
    struct Row {
        const wchar_t* descriptor;
        const wchar_t* ofFile;  // who could change it as one; null for nobody
        const wchar_t* ofFolder;
        const wchar_t* ofFolderAbove;
    };
    constexpr const wchar_t* kUsers = L"S-1-5-32-545";
    constexpr const wchar_t* kEverybody = L"S-1-1-0";
    const Row rows[] = {
        {kSound, nullptr, nullptr, nullptr},
        {L"O:SYD:(A;;GA;;;S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464)", nullptr, nullptr,
         nullptr},
        {L"O:S-1-5-21-1-2-3-500D:(A;;FA;;;SY)", nullptr, nullptr, nullptr},
        {L"O:S-1-5-21-1-2-3-1001D:(A;;FA;;;SY)", kAnn, kAnn, kAnn},
        {L"O:S-1-5-21-1-2-3-1500D:(A;;FA;;;SY)", L"S-1-5-21-1-2-3-1500", L"S-1-5-21-1-2-3-1500",
         L"S-1-5-21-1-2-3-1500"},
        {L"O:BA", kEverybody, kEverybody, kEverybody},
        {L"O:BAD:", nullptr, nullptr, nullptr},
        {L"O:BAD:(A;;0x1;;;BU)", nullptr, nullptr, nullptr},
        {L"O:BAD:(A;;0x2;;;BU)", kUsers, kUsers, nullptr},
        {L"O:BAD:(A;;0x4;;;BU)", kUsers, kUsers, nullptr},
        {L"O:BAD:(A;;0x100;;;BU)", kUsers, kUsers, nullptr},
        {L"O:BAD:(A;;0x40;;;BU)", nullptr, kUsers, kUsers},
        {L"O:BAD:(A;;SD;;;BU)", kUsers, kUsers, kUsers},
        {L"O:BAD:(A;;WD;;;BU)", kUsers, kUsers, kUsers},
        {L"O:BAD:(A;;WO;;;BU)", kUsers, kUsers, kUsers},
        {L"O:BAD:(A;;GW;;;BU)", kUsers, kUsers, nullptr},
        {L"O:BAD:(A;OICIIO;FA;;;BU)", nullptr, kUsers, nullptr},  // for files to come
        {L"O:BAD:(A;CIIO;FA;;;BU)", nullptr, nullptr, nullptr},
        {L"O:BAD:(A;OICIIO;FA;;;CO)", nullptr, nullptr, nullptr},
        {L"O:BAD:(D;;FA;;;BU)(A;;FR;;;BU)", nullptr, nullptr, nullptr},
        {L"O:BAD:(D;;FA;;;BU)(A;;FA;;;BU)", kUsers, kUsers, kUsers},  // counts, though it is taken back
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(Narrow(row.descriptor));
        const LocalMemory descriptor = Descriptor(row.descriptor);
        const std::pair<Place, const wchar_t*> expected[] = {{Place::File, row.ofFile},
                                                             {Place::Folder, row.ofFolder},
                                                             {Place::FolderAbove, row.ofFolderAbove}};
        for (const auto& [place, account] : expected) {
            const auto stranger = FindStranger(descriptor.Get(), place, L"");
            EXPECT_EQ(stranger ? stranger->account : L"", account != nullptr ? account : L"");
        }
    }
    EXPECT_FALSE(FindStranger(Descriptor(rows[3].descriptor).Get(), Place::Folder, kAnn)) << "the installer";
}

class UntrustedFiles : public testing::Test {
protected:
    UntrustedFiles() {
        EXPECT_TRUE(RunsAsSystem());
        WriteFileText(m_path, kNotes);
        WriteFileText(m_path + L".copy", kCopy);
    }
    ~UntrustedFiles() override { g_descriptors.clear(); }

    static constexpr const char* kNotes = R"({"Disabled":{"A":[1]}})";
    static constexpr const char* kCopy = R"({"Disabled":{"A":[1],"B":[2]}})";
    const rig::TemporaryFolder m_folder;
    const std::wstring m_path = m_folder.File(L"system_restore_profile.json");
    picojson::object m_document;
};

TEST_F(UntrustedFiles, AreNeitherReadNorWrittenNorRemoved) {
    const std::wstring own = std::wstring(L"O:") + kAnn + L"D:(A;;FA;;;SY)";
    for (const std::wstring& descriptor : {kOthersMayWrite, own}) {
        SCOPED_TRACE(Narrow(descriptor));
        g_descriptors = {{L"system_restore_profile.json", descriptor},
                         {L"system_restore_profile.json.copy", descriptor}};
        const GuardedFile file(m_path);
        EXPECT_EQ(file.Read(m_document), GuardedState::Unreadable);
        EXPECT_TRUE(m_document.empty()) << "no order of a stranger's";
        EXPECT_EQ(file.Write({}), kErrorNotTrusted);
        EXPECT_EQ(ReadFileText(m_path), kNotes);
        EXPECT_EQ(ReadFileText(m_path + L".copy"), kCopy);
    }
    g_descriptors.clear();
    EXPECT_EQ(GuardedFile(m_path).Read(m_document), GuardedState::Ok) << "mended, the notes are there again";
    EXPECT_TRUE(m_document.contains("Disabled"));
}

TEST_F(UntrustedFiles, AStrangersCopyIsKeptAndATrustedOneGoneBy) {
    g_descriptors = {{L"system_restore_profile.json.copy", kOthersMayWrite}};
    EXPECT_EQ(GuardedFile(m_path).Read(m_document), GuardedState::Ok);
    EXPECT_NE(GuardedFile(m_path).Write(m_document), 0u) << "what has no copy isn't noted";
    EXPECT_EQ(ReadFileText(m_path + L".copy"), kCopy);
    g_descriptors = {{L"system_restore_profile.json", kOthersMayWrite}};
    EXPECT_EQ(GuardedFile(m_path).Read(m_document), GuardedState::Ok);
    EXPECT_EQ(m_document.at("Disabled").get<picojson::object>().count("B"), 1u) << "the copy's";
}

TEST_F(UntrustedFiles, AreToldWithTheCommandThatMendsThem) {
    g_descriptors = {{L"system_restore_profile.json", kOthersMayWrite}};
    const auto sentences = UnusedIn(m_folder.Path());
    ASSERT_EQ(sentences.size(), 1u);
    const std::string sentence = Narrow(sentences.front());
    EXPECT_THAT(sentence, HasSubstr("may change it and is no administrator"));
    EXPECT_THAT(sentence, HasSubstr("/inheritance:r /remove *S-1-5-32-545 /grant:r *S-1-5-18:F "));
    EXPECT_THAT(sentence, testing::Not(HasSubstr("545:R"))) << "users don't read notes";
}

TEST_F(UntrustedFiles, FilesWithASecondNameAreNotUsed) {
    ASSERT_TRUE(CreateHardLinkW(m_folder.File(L"second").c_str(), m_path.c_str(), nullptr));
    picojson::value value;
    EXPECT_EQ(ReadJsonFile(m_path, value), JsonFileState::Unreadable);
    EXPECT_EQ(WriteJsonFile(m_path, picojson::value(1.0)), kErrorNotTrusted);
    EXPECT_EQ(ReadFileText(m_folder.File(L"second")), kNotes);
}

TEST(Logons, ThoseOfTheStartAreFoundAfterwards) {
    using Users = std::map<uint32_t, std::wstring>;
    EXPECT_THAT(host::NewLogons({}, {}), testing::IsEmpty());
    EXPECT_THAT(host::NewLogons(Users{{1, L"D\\ann"}}, Users{{1, L"D\\ann"}}), testing::IsEmpty());
    EXPECT_THAT(host::NewLogons(Users{{1, L"D\\ann"}, {2, L"D\\bob"}}, Users{{2, L"D\\bob"}}),
                testing::IsEmpty());
    EXPECT_THAT(host::NewLogons(Users{{1, L"D\\ann"}}, Users{{1, L"D\\bob"}, {3, L"D\\ann"}}),
                testing::ElementsAre(1, 3));
}

}  // namespace
}  // namespace optimizer
