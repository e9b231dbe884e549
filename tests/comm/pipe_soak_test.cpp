// The engine's pipe under load and under fire. The test run does a short form of both; scripts/soak asks for
// the long one.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <windows.h>

#include <psapi.h>

#include "comm/optimizer_al_comm.h"
#include "comm/optimizer_comm_client.h"
#include "frame/exported_object.h"
#include "frame/module_path.h"
#include "frame/vx_string.h"
#include "connector/wire_frame.h"
#include "tests/support/fake_engine.h"
#include "tests/support/fake_host.h"

namespace optimizer {
namespace {

using profiles::profile;

const bool kLong = std::getenv("OPTIMIZER_SOAK") != nullptr;

/// Answers what its caller can check, and sends one numbered event for each switch of the module.
class CountingEngine final : public test_support::FakeEngine {
public:
    uint32_t SetProfile(const profile* wanted) override { return 1000 + static_cast<uint32_t>(*wanted); }
    uint32_t StartTask(const int32_t* task) override { return static_cast<uint32_t>(*task); }
    uint32_t GetProfileConfig(const profile* which, vx::String* text) override {
        text->Assign(ConfigOf(*which).c_str());
        return 0;
    }
    uint32_t SetModuleEnable(bool) override {
        const std::lock_guard guard(m_lock);
        events.ForEach([&](IOptimizerEvents* observer) {
            observer->OnOptimizerProcessOptimized(m_name.c_str(), m_next);
        });
        return ++m_next, 0;
    }
    static std::wstring ConfigOf(profile which) {
        std::wstring config;
        config.resize(static_cast<size_t>(which) % profiles::kCount * 700, L'c');
        return config;
    }

private:
    std::mutex m_lock;  // so that the numbers go out in their order
    uint32_t m_next = 0;
    const std::wstring m_name = std::wstring(400, L'n');
};

class Service {
public:
    Service() {
        EXPECT_EQ(m_connector.Load(GetModuleFolder() + L"connector.dll", L"connserver"), 0U);
        m_host.manager.plugins = {{L"optimizeral", &m_engine}, {L"connserver", m_connector.Get()}};
        EXPECT_EQ(m_server.Init(&m_host), 0U);
        EXPECT_EQ(m_server.Start(), 0U);
    }
    ~Service() {
        m_server.Stop();
        m_server.UnInit();
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

private:
    CountingEngine m_engine;
    test_support::FakeHost m_host;
    ExportedObject<IConnectorServer> m_connector;
    COptimizerALComm m_server;
};

/// A client that checks that the events' numbers come without a gap.
class Client final : public IOptimizerEvents {
public:
    Client() {
        EXPECT_EQ(engine.Init(nullptr), 0U);
        engine.AddEventsObserver(this);
        connected = engine.Start() == 0;
        EXPECT_TRUE(connected);
    }
    ~Client() {
        engine.Stop();
        engine.UnInit();
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    void OnTaskFinished(const wchar_t*, const uint32_t*, uint32_t) override {}
    void OnProfileChanged(const wchar_t*, const profile*) override {}
    void OnActionsExecuted(const wchar_t*, const profile*) override {}
    void OnProfileConfigChanged(const wchar_t*, const profile*) override {}
    void OnOptimizerModuleEnableChanged(const wchar_t*, bool) override {}
    void OnOptimizerProcessOptimized(const wchar_t*, uint32_t count) override {
        if (count != heard) ++gaps;
        heard = count + 1;
    }

    /// One request of the mix; false when the answer isn't the right one.
    bool Ask(uint32_t step) {
        const auto which = static_cast<profile>(step % profiles::kCount);
        const auto task = static_cast<int32_t>(step);
        profile active{};
        vx::String config;
        switch (step % 7) {
            case 0:
                return engine.SetModuleEnable(true) == 0;
            case 1:
                return engine.SetProfile(&which) == 1000 + step % profiles::kCount;
            case 2:
                return engine.GetProfileConfig(&which, &config) == 0 &&
                       config.Text() == CountingEngine::ConfigOf(which);
            case 3:
                return engine.StartTask(&task) == step;
            case 4:
                return engine.GetProfileAsync() == 0;
            default:
                return engine.GetProfile(&active) == 0 && active == profile::Movie;
        }
    }

    COptimizerCommClient engine;
    bool connected = false;
    std::atomic<uint32_t> heard = 0;
    std::atomic<uint32_t> gaps = 0;
};

FileHandle OpenRaw() {
    const std::wstring path = std::wstring(LR"(\\.\pipe\)") + kOptimizerPipe;
    FileHandle pipe;
    // All instances can be taken for a moment.
    for (int attempt = 0; attempt < 50 && !pipe; ++attempt) {
        pipe.Reset(
            CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        if (!pipe) WaitNamedPipeW(path.c_str(), 200);
    }
    return pipe;
}

TEST(PipeSoak, ManyClientsAtOnceGetTheirAnswersAndEveryEventInOrder) {
    const uint32_t clientCount = kLong ? 63 : 12;
    const uint32_t requests = kLong ? 2000 : 140;
    const Service service;
    const FileHandle silent = OpenRaw();
    ASSERT_TRUE(silent);
    std::vector<std::unique_ptr<Client>> clients;
    for (uint32_t i = 0; i < clientCount; ++i)
        clients.push_back(std::make_unique<Client>());

    std::atomic<uint32_t> wrong = 0;
    std::vector<std::thread> threads;
    for (const auto& client : clients) {
        threads.emplace_back([&wrong, requests, asking = client.get()] {
            for (uint32_t step = 0; asking->connected && step < requests; ++step)
                wrong += asking->Ask(step) ? 0 : 1;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0U);
    const uint32_t events = clientCount * ((requests + 6) / 7);
    for (const auto& client : clients) {
        for (int waitedMs = 0; client->heard < events && waitedMs < 10000; waitedMs += 10)
            Sleep(10);
        EXPECT_EQ(client->heard, events);
        EXPECT_EQ(client->gaps, 0U);
    }
}

/// Writes one frame that is random, or sound but for a few bytes.
void Fire(HANDLE pipe, std::mt19937& random) {
    std::vector<uint8_t> bytes(random() % 200);
    for (uint8_t& byte : bytes)
        byte = static_cast<uint8_t>(random());
    if (random() % 4 != 0) {
        host::FrameHeader header;
        header.kind = host::FrameKind::Request;
        header.call = 1 + random() % 9;
        header.id = random() % 26;
        header.sizeBytes = static_cast<uint32_t>(bytes.size());
        std::vector<uint8_t> frame(sizeof header);
        std::memcpy(frame.data(), &header, sizeof header);
        frame.insert(frame.end(), bytes.begin(), bytes.end());
        if (random() % 2 != 0) frame[random() % frame.size()] ^= static_cast<uint8_t>(1 + random() % 255);
        bytes = std::move(frame);
    }
    DWORD written = 0;
    WriteFile(pipe, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

size_t PrivateBytes() {
    PROCESS_MEMORY_COUNTERS counters = {};
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return counters.PagefileUsage;
}

DWORD Handles() {
    DWORD count = 0;
    GetProcessHandleCount(GetCurrentProcess(), &count);
    return count;
}

TEST(PipeSoak, RandomAndMutatedFramesLeaveTheServiceAsItWas) {
    const uint32_t frames = kLong ? 100000 : 1500;
    const Service service;
    std::mt19937 random(20);  // the same frames in every run
    const auto fire = [&](uint32_t count) {
        for (uint32_t i = 0; i < count;) {
            const FileHandle pipe = OpenRaw();
            ASSERT_TRUE(pipe);
            for (const uint32_t end = i + 1 + random() % 20; i < end && i < count; ++i)
                Fire(pipe.Get(), random);
        }
    };
    const auto answers = [] {
        Client client;
        profile active{};
        return client.engine.GetProfile(&active) == 0 && active == profile::Movie;
    };
    fire(frames / 5);
    EXPECT_TRUE(answers());
    const size_t bytesBefore = PrivateBytes();
    const DWORD handlesBefore = Handles();
    fire(frames);
    EXPECT_TRUE(answers());
    for (int waitedMs = 0; Handles() > handlesBefore + 4 && waitedMs < 5000; waitedMs += 10)
        Sleep(10);
    EXPECT_LE(Handles(), handlesBefore + 4);
    EXPECT_LE(static_cast<double>(PrivateBytes()), static_cast<double>(bytesBefore) * 1.1);
    std::printf("private memory %zu KiB before, %zu KiB after %u frames\n", bytesBefore / 1024,
                PrivateBytes() / 1024, frames);
}

}  // namespace
}  // namespace optimizer
