// Which processes are raised and put back, and when; on a queue that is run by hand.
#include "processes/windows_processes_action.h"

#include <thread>

#include "host/optimizerprocessdp/process_entry.h"
#include "tests/processes/process_fixture.h"
#include "tools/rig/scratch_services.h"

namespace optimizer {
namespace {

class ProcessesAction : public test_support::ProcessFixture {
protected:
    std::unique_ptr<CWindowsProcessesAction> Started(profile active) {
        m_engine.active = m_engine.meanwhile = active;
        auto action = std::make_unique<CWindowsProcessesAction>(WindowsProcessesParams{}, &m_host);
        EXPECT_EQ(action->Start(), 0U);
        m_host.queue.RunAll();
        return action;
    }
    void TellEntries(bool added, profile which, const wchar_t* name) const {
        host::ProcessEntryList list;
        list.PushBack(host::CProcessEntry(name, L""));
        constexpr auto kKind = ProcessEventKind::Entries;
        if (added) {
            m_lists.details->OnProcessesAdded(&kKind, &which, &list);
        } else {
            m_lists.details->OnProcessesRemoved(&kKind, &which, &list);
        }
    }
};

TEST_F(ProcessesAction, RaisesWhatTheProfileIncludesAndTells) {
    auto action = Started(profile::Game);
    EXPECT_EQ(TakeSets(), "10+ 12+ ") << "two processes of one program";
    EXPECT_EQ(m_news, L"game.exe=2 ");
    EXPECT_TRUE(m_traces.Has(L"Set priority 0x20 game.exe")) << "the line names another class than is set";
    EXPECT_EQ(action->Start(), 0U);
    EXPECT_EQ(m_host.queue.RunAll(), 0U) << "started once";

    m_machine.names[13] = L"game.exe";
    m_processes.Tell(13, L"C:\\Games\\Game.exe", 0);
    m_processes.Tell(14, nullptr, 0);
    m_processes.Tell(15, L"C:\\Games\\", 0);
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10+ 12+ 13+ ");
    EXPECT_TRUE(m_traces.Has(L"pid=14 name=NULL flags=0"));

    m_processes.Tell(10, L"C:\\Games\\Game.exe", 1);
    m_processes.Tell(99, L"C:\\Games\\Game.exe", 3);  // unknown, as are the next two's applications
    m_processes.Tell(12, L"C:\\Games\\gone.exe", 1);
    m_host.queue.RunAll();
    EXPECT_EQ(action->Revert(), 0U);
    EXPECT_EQ(TakeSets(), "12- 13- ") << "what ended is forgotten, what is unknown changes nothing";
    EXPECT_EQ(action->Revert(), 0U);
    EXPECT_EQ(TakeSets(), "12- 13- ") << "a revert forgets nothing";
}

TEST_F(ProcessesAction, FollowsProfilesAndLists) {
    auto action = Started(profile::Disabled);
    EXPECT_EQ(TakeSets() + std::to_string(m_lists.questions), "0") << "no profile, no question";
    m_engine.Change(profile::Game);
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10+ 12+ ");
    m_engine.Change(profile::Game);
    EXPECT_EQ(m_host.queue.RunAll(), 0U);
    m_engine.Change(profile::Work);
    EXPECT_EQ(TakeSets(), "10- 12- ") << "at once";
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10- 12- 11+ ") << "and once more by the answer, which makes them forgotten";
    m_engine.Change(profile::Battery);
    TakeSets();
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "11- ");

    m_engine.Change(profile::Game);
    m_host.queue.RunAll();
    TakeSets();
    const int before = m_lists.questions;
    TellEntries(false, profile::Work, L"game.exe");
    EXPECT_EQ(m_host.queue.RunAll(), 2U) << "woken: the queue, then the news";
    EXPECT_EQ(TakeSets(), "10+ 12+ ") << "another profile's list changes nothing";
    TellEntries(false, profile::Game, L"game.exe");
    TellEntries(true, profile::Game, L"other.exe");
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10- 12- 11+ 11+ ");
    EXPECT_EQ(m_lists.questions, before) << "answered by the events";
    constexpr auto kGame = profile::Game;
    for (const auto kind : {ProcessEventKind::Entries, ProcessEventKind::List})
        m_lists.list->OnProcessesListChanged(&kind, &kGame);
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10+ 12+ 11- ");
    EXPECT_EQ(m_lists.questions, before + 3) << "asked anew";
}

TEST_F(ProcessesAction, FollowsTheNewestProfileAndNoneWhileTheModuleIsOff) {
    auto action = Started(profile::Work);
    EXPECT_EQ(TakeSets(), "11+ ");
    m_engine.on = false;
    for (const profile next : {profile::Disabled, profile::Game}) {
        m_engine.Change(next);
        m_host.queue.RunAll();
    }
    EXPECT_EQ(TakeSets(), "11- 11- ") << "a choice that is only remembered raises nothing";
    m_engine.on = true;
    action.reset();
    m_engine.active = profile::Work;
    m_engine.meanwhile = profile::Game;
    action = std::make_unique<CWindowsProcessesAction>(WindowsProcessesParams{}, &m_host);
    action->Start();
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10+ 12+ ") << "the profile changed while the first one was read";
}

TEST_F(ProcessesAction, AnAnswerForAProfileThatIsOverIsDropped) {
    std::thread change;
    m_lists.onQuestion = [&] {
        if (change.joinable()) return;
        change = std::thread([this] { m_engine.Change(profile::Movie); });
        // It holds the action lock by then and waits for the answers' lock.
        EXPECT_TRUE(rig::WaitUntil([this] { return m_traces.Has(L"crt=2 next=3"); }));
    };
    auto action = Started(profile::Game);
    change.join();
    EXPECT_EQ(TakeSets(), "");
    EXPECT_EQ(m_news, L"");
}

TEST_F(ProcessesAction, AFailingProviderIsAskedAgainAndAFailedPriorityIsRemembered) {
    m_lists.error = ERROR_BUSY;
    auto action = Started(profile::Game);
    EXPECT_EQ(TakeSets(), "");
    EXPECT_TRUE(m_traces.Has(L"OptimizerProcessDP->IsIncluded failed 0xaa"));
    m_lists.error = 0;
    m_processes.Tell(77, L"C:\\game.exe", 0);  // can't be opened
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10+ 12+ ");
    EXPECT_EQ(m_news, L"game.exe=3 ");
    m_machine.names[77] = L"game.exe";
    EXPECT_EQ(action->Cancel(), 0U) << "the next change must find what was raised";
    action->Revert();
    EXPECT_EQ(TakeSets(), "10- 12- 77- ");
    EXPECT_EQ(action->Stop(), 0U);
    EXPECT_EQ(TakeSets(), "") << "a stop puts nothing back";
    action->Revert();
    EXPECT_EQ(TakeSets(), "") << "and forgets";
    EXPECT_EQ(action->Update(nullptr), 0U) << "starts again";
    m_host.queue.RunAll();
    EXPECT_EQ(TakeSets(), "10+ 12+ 77+ ");
}

TEST_F(ProcessesAction, GoesOnWithWhatTheHostGives) {
    const struct {
        const wchar_t* missing;
        bool refuses;
        const wchar_t* trace;
        const char* sets;
    } cases[] = {
        {L"processdp", false, L"GetPlugin processdp failed 0x490", "10+ 12+ "},
        {L"", true, L"RegisterProcessNotifyCallback failed", "10+ 12+ "},
        {L"optimizerprocessdp", false, L"GetPlugin optimizerprocessdp failed 0x490", ""},
        {L"optimizeral", false, L"GetPlugin optimizeral failed 0x490", ""},
    };
    const auto plugins = m_host.manager.plugins;
    for (const auto& one : cases) {
        m_host.manager.plugins.erase(one.missing);
        m_processes.refuses = one.refuses;
        auto action = Started(profile::Game);
        EXPECT_TRUE(m_traces.Has(one.trace));
        EXPECT_EQ(TakeSets(), one.sets) << "without " << testing::PrintToString(one.missing);
        action->Stop();
        m_host.manager.plugins = plugins;
    }
    m_host.queue.refuseSerial = true;
    {
        auto action = Started(profile::Game);
        EXPECT_EQ(m_processes.function, nullptr) << "told of nothing, since it could do nothing with it";
    }
    m_host.queue.refuseSerial = false;
    m_processes.isShortOfMemory = true;
    CWindowsProcessesAction half({}, &m_host);
    EXPECT_EQ(half.Start(), uint32_t{ERROR_OUTOFMEMORY});
    EXPECT_EQ(half.Stop(), 0U) << "waits for nothing";
    CWindowsProcessesAction alone({}, nullptr);
    EXPECT_EQ(alone.Start(), 0U) << "never finishes; its end doesn't wait for it";
}

TEST_F(ProcessesAction, ParametersAreReadAndWritten) {
    picojson::value json;
    const std::string text = R"([{"name":"a","priority":"HIGH"},{"name":"b","product":"p","priority":"no"},
        {"name":"c"},{"priority":"IDLE"},{"name":"d","product":"","priority":"IDLE"},7])";
    ASSERT_EQ(picojson::parse(json, text), "");
    WindowsProcessesParams parameters;
    parameters.FromJson(&json);
    parameters.ToJson(&json);
    EXPECT_EQ(json.serialize(), R"([{"name":"a","priority":"HIGH","product":""},)"
                                R"({"name":"b","priority":"NORMAL","product":"p"},)"
                                R"({"name":"d","priority":"IDLE","product":""}])");
}

}  // namespace
}  // namespace optimizer
