// An uninstall looks whether the machine is back before it removes the service.
#include <windows.h>

#include <aclapi.h>
#include <sddl.h>

#include "frame/handles.h"
#include "frame/uninstall_event.h"
#include "tests/host/service/noted_machine.h"

namespace host_test {
namespace {

using optimizer::FileHandle;
using optimizer::KernelHandle;
using optimizer::ServiceHandle;
using rig::WriteFileText;
using testing::Contains;
using testing::HasSubstr;

class Uninstall : public NotedMachine {
protected:
    Uninstall() { EXPECT_EQ(Host(L"install").exitCode, 0U); }
    ~Uninstall() override {
        if (IsRegistered()) static_cast<void>(Host(L"uninstall --force"));
    }

    ServiceHandle Service() const {
        return ServiceHandle(OpenServiceW(m_manager.Get(), L"OptimizerHost", SERVICE_ALL_ACCESS));
    }
    bool IsRegistered() const { return static_cast<bool>(Service()); }
    void Expect(const rig::ProgramRun& run, DWORD exitCode, const std::vector<std::string>& sentences) const {
        EXPECT_EQ(run.exitCode, exitCode) << testing::PrintToString(run.lines);
        for (const std::string& sentence : sentences)
            EXPECT_THAT(run.lines, Contains(HasSubstr(sentence)));
    }

    const ServiceHandle m_manager{OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT)};
};

TEST_F(Uninstall, NamesWhatIsStillNotedAndKeepsTheServiceUntilForced) {
    const std::wstring another = m_installation->SettingsFile(L"D_other_restore_profile.json");
    const std::wstring third = m_installation->SettingsFile(L"D_third_restore_profile.json");
    WriteFileText(SystemFile(), R"({"Disabled":{"Dance":{}},"in_force":["Sing"],"owners":{"Dance":"D\\u"}})");
    WriteFileText(another, R"({"Disabled":{"Whistle":[1,2]}})");
    WriteFileText(third, "{");
    Expect(Host(L"uninstall"), 1,
           {"Dance is not back: what there is to return to is still noted in " +
                optimizer::Narrow(SystemFile()) + " for D\\u.",
            "Sing is not back",
            "Whistle is not back: what there is to return to is still noted in " +
                optimizer::Narrow(another) + ".",
            "What was noted in " + optimizer::Narrow(third) + " is damaged",
            "The service stays registered; uninstall again when that is mended"});
    EXPECT_TRUE(IsRegistered());
    Expect(Host(L"uninstall --force"), 0,
           {"Dance is not back", "What is noted stays in ", "the machine is not put back in everything"});
    EXPECT_FALSE(IsRegistered());
}

TEST_F(Uninstall, NothingIsInstalledFromAFolderThatUsersMayWrite) {
    ASSERT_EQ(Host(L"uninstall").exitCode, 0U);
    std::wstring settings = m_installation->File(L"settings");
    const auto letEverybody = [&](const wchar_t* rights) {
        optimizer::LocalMemory descriptor;
        ACL* list = nullptr;
        BOOL ignored = FALSE;
        EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
            (std::wstring(L"D:(A;;FA;;;BA)(A;;") + rights + L";;;WD)").c_str(), SDDL_REVISION_1,
            descriptor.Receive(), nullptr));
        EXPECT_TRUE(GetSecurityDescriptorDacl(descriptor.Get(), &ignored, &list, &ignored));
        EXPECT_EQ(SetNamedSecurityInfoW(settings.data(), SE_FILE_OBJECT, DACL_SECURITY_INFORMATION, nullptr,
                                        nullptr, list, nullptr),
                  DWORD{ERROR_SUCCESS});
    };
    letEverybody(L"FA");
    Expect(Host(L"install"), 1,
           {optimizer::Narrow(settings) + " isn't safe, since Everyone may change it",
            "/remove *S-1-1-0 /grant:r *S-1-5-18:(OI)(CI)F"});
    EXPECT_FALSE(IsRegistered());
    Expect(Host(L"install --allow-writable-folder"), 0, {"The service is installed."});
    ASSERT_EQ(Host(L"uninstall").exitCode, 0U);
    letEverybody(L"FR");
    Expect(Host(L"install"), 0, {"The service is installed."});
}

TEST_F(Uninstall, AKilledOneIsFinishedByTheNext) {
    // Early enough: how many writes a way back makes isn't the same each time.
    for (const uint32_t write : {1U, 3U, 5U}) {
        SCOPED_TRACE(write);
        EnterGame();
        m_power.Set(L"KillOnWrite", write);
        EXPECT_NE(Host(L"uninstall").exitCode, 0U);
        m_power.Remove(L"KillOnWrite");
        EXPECT_TRUE(IsRegistered());
        Expect(Host(L"uninstall"), 0, {"The machine is put back, the service removed."});
        EXPECT_EQ(Power(), kFound);
        EXPECT_TRUE(AreServicesBack());
        EXPECT_EQ(Host(L"install").exitCode, 0U);
    }
}

TEST_F(Uninstall, AStopThatIsRefusedLeavesNoWordOfTheUninstall) {
    const KernelHandle word = optimizer::OpenUninstallEvent();
    const std::wstring lock = m_installation->SettingsFile(L"engine.lock");
    {
        // The service waits for another engine's end, and takes no stop until then.
        const FileHandle held(CreateFileW(lock.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                          FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        ASSERT_TRUE(StartServiceW(Service().Get(), 0, nullptr)) << GetLastError();
        Expect(Host(L"uninstall"), 1, {"The service can't be stopped: ", "The service stays registered"});
        EXPECT_EQ(WaitForSingleObject(word.Get(), 0), DWORD{WAIT_TIMEOUT});
        EXPECT_TRUE(IsRegistered());
    }
    ASSERT_TRUE(m_services.Reaches(L"OptimizerHost", {SERVICE_RUNNING, SERVICE_AUTO_START}));
    Expect(Host(L"uninstall"), 0, {"The machine is put back, the service removed."});
}

}  // namespace
}  // namespace host_test
