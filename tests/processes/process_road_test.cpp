// From the notification to the picture, with a file that has a product name.
#include "frame/module_path.h"
#include "frame/text.h"
#include "processes/image_path.h"
#include "processes/snapshot.h"
#include "tests/processes/process_fixture.h"

namespace optimizer {
namespace {

class ProcessRoad : public test_support::ProcessFixture, public ISnapshotObserver {
protected:
    void OnSnapshotNewProcess(const wchar_t* name, const wchar_t* product, int32_t pid) override {
        m_told += L"+" + std::to_wstring(pid) + L" " + name + L"/" + product + L" ";
    }
    void OnSnapshotProcessEnd(const wchar_t* name, const wchar_t* product, int32_t pid) override {
        m_told += L"-" + std::to_wstring(pid) + L" " + name + L"/" + product + L" ";
    }
    std::wstring Tell(uint32_t pid, uint32_t flags) {
        m_processes.Tell(pid, (GetModuleFolder() + L"Scratch_Process.exe").c_str(), flags);
        m_host.queue.RunAll();
        return std::exchange(m_told, {});
    }

    std::wstring m_told;
    const SnapshotKey m_key{L"scratch_process.exe", L"scratch product"};
};

TEST_F(ProcessRoad, ProcessesOfOneProgramShareAKeyThatGoesWithTheLast) {
    CSnapshot snapshot(&m_host, this);
    m_machine.names[20] = L"scratch_process.exe";  // its image can't be read
    ASSERT_TRUE(snapshot.Start());
    EXPECT_EQ(Tell(21, 0), L"+21 scratch_process.exe/scratch product ");
    EXPECT_EQ(Tell(22, 2), L"+22 scratch_process.exe/scratch product ") << "only one bit counts";
    std::vector<uint32_t> pids = {1};
    snapshot.GetProcessIds({L"scratch_process.exe", L"none"}, pids);
    EXPECT_EQ(pids, std::vector<uint32_t>{1}) << "left as they are";
    snapshot.GetProcessIds(m_key, pids);
    EXPECT_EQ(pids, (std::vector<uint32_t>{21, 22}));
    EXPECT_EQ(Tell(21, 1), L"-21 scratch_process.exe/scratch product ");
    EXPECT_EQ(Tell(21, 1), L"") << "known application, unknown process";
    EXPECT_EQ(Tell(20, 1), L"") << "entered without a product, so that its end finds another key";
    EXPECT_EQ(Tell(22, 3), L"-22 scratch_process.exe/scratch product ");

    SnapshotKeys keys = {m_key};
    snapshot.GetProcesses(keys);
    EXPECT_EQ(keys, (SnapshotKeys{m_key,
                                  {L"game.exe", L""},
                                  {L"other.exe", L""},
                                  {L"scratch_process.exe", L""},
                                  {L"system", L""}}));
    m_processes.Tell(23, L"C:\\dropped.exe", 0);
    snapshot.Stop();
    m_host.queue.RunAll();
    EXPECT_EQ(m_told, L"") << "not after the end";
    // A host that doesn't wait for its calls in flight may still be in the middle of one.
    _PROCESS_NOTIF late = {};
    late.name = L"C:\\late.exe";
    auto gone = std::make_unique<CProcessDP>(&m_host, nullptr);
    void* const address = gone.get();
    ASSERT_TRUE(gone->Init());
    gone->Uninit();
    EXPECT_EQ(CProcessDP::OnProcessNotify(&late, address), 0U);
    gone.reset();
    EXPECT_EQ(CProcessDP::OnProcessNotify(&late, address), 0U);
    EXPECT_TRUE(m_host.queue.Pending().empty());
    EXPECT_EQ(CProcessDP::OnProcessNotify(nullptr, nullptr), 0U);
    EXPECT_TRUE(m_traces.Has(L"NULL context pointer"));
}

TEST_F(ProcessRoad, AnImageOnTheNetworkIsNeverOpened) {
    EXPECT_TRUE(IsOnLocalDrive(GetModuleFolder()));
    EXPECT_TRUE(IsOnLocalDrive(LR"(\\?\C:\x.exe)"));
    for (const wchar_t* const path :
         {LR"(\\server\share\x.exe)", LR"(\\?\UNC\server\share\x.exe)", LR"(\\.\C:\x.exe)",
          LR"(\\?\GLOBALROOT\Device\Mup\s\x.exe)", LR"(Q:\x.exe)", LR"(\Device\x)", L"x.exe", L"C:x.exe",
          L"//server/x.exe", L""}) {
        EXPECT_FALSE(IsOnLocalDrive(path)) << static_cast<const void*>(path);
    }
    const std::wstring image = GetModuleFolder() + L"Scratch_Process.exe";
    EXPECT_EQ(CSnapshot::GetProductName(LR"(\\?\)" + image), L"Scratch Product");
    {
        const FileHandle writer(CreateFileW(image.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                            nullptr, OPEN_EXISTING, 0, nullptr));
        EXPECT_EQ(CSnapshot::GetProductName(image), L"") << "who may write it might hold up its readers";
    }
    EXPECT_EQ(CSnapshot::GetProductName(LR"(\\.\)" + image), L"")
        << "the same file, by a name that may lead anywhere";
}

}  // namespace
}  // namespace optimizer
