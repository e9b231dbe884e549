// The control channel against bare message pipes: a request with its answer, and an event to 64 clients. Both
// sides run in this process, each client with a thread of its own that reads.
#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/harness.h"
#include "border/connector.h"
#include "border/optimizer_client.h"
#include "frame/exported_object.h"
#include "frame/handles.h"
#include "frame/module_path.h"
#include "tests/support/fake_engine.h"
#include "tests/support/fake_host.h"

namespace bench {

namespace {

constexpr uint32_t kClients = 64;
constexpr uint32_t kMessage = 2;
constexpr uint32_t kPayloadBytes = 4;
constexpr uint32_t kFrameBytes = 32 + kPayloadBytes;  // a frame with one number
constexpr DWORD kBufferBytes = 65536;

void Require(bool worked) {
    if (!worked) throw std::runtime_error("a pipe refused its work, error " + std::to_string(GetLastError()));
}

std::wstring PipeName(const wchar_t* kind) {
    return std::wstring(L"optimizer_bench_") + kind + std::to_wstring(GetCurrentProcessId());
}

/// Counts what arrived; the last of a round wakes the sender.
class Round {
public:
    void Start(uint32_t count) { m_left = count; }
    void Arrived() {
        if (--m_left == 0) SetEvent(m_all.Get());
    }
    void Wait() const { WaitForSingleObject(m_all.Get(), INFINITE); }

private:
    std::atomic<uint32_t> m_left = 0;
    optimizer::KernelHandle m_all{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

std::wstring Product(const wchar_t* library) {
    return optimizer::GetModuleFolder() + L"..\\..\\bin\\" + library;
}

/// The connector with one server end and the clients that hear its events.
class Channel {
public:
    Channel(const std::wstring& name, uint32_t clients) {
        const std::wstring library = Product(L"connector.dll");
        Require(m_server.Load(library, L"connserver") == ERROR_SUCCESS);
        Require(m_client.Load(library, L"connclient") == ERROR_SUCCESS);
        endpoint = m_server.Get()->registerPipe(name.c_str(), kCommonPipeName);
        Require(endpoint != nullptr);
        for (uint32_t i = 0; i < clients; ++i) {
            ConnectorEndpoint* const end =
                m_client.Get()->connectPipe(name.c_str(), 0, kCommonPipeName, 5000);
            Require(end != nullptr);
            end->setCallback(&_Count, this, 1);
            ends.push_back(end);
        }
    }
    ~Channel() {
        for (ConnectorEndpoint* const end : ends)
            m_client.Get()->disconnectPipe(end);
        m_server.Get()->unregisterPipe(endpoint);
    }
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    ConnectorEndpoint* endpoint = nullptr;
    std::vector<ConnectorEndpoint*> ends;
    Round round;

private:
    static uint32_t _Count(void* context, const ConnectorMessage*) {
        static_cast<Channel*>(context)->round.Arrived();
        return 0;
    }

    optimizer::ExportedObject<IConnectorServer> m_server;
    optimizer::ExportedObject<IConnectorClient> m_client;
};

/// The product's server and client of the engine's pipe, around an engine that knows its answer, so that the
/// way to it is what takes time.
class EngineOnAPipe {
public:
    EngineOnAPipe() {
        Require(m_connector.Load(Product(L"connector.dll"), L"connserver") == ERROR_SUCCESS);
        m_host.manager.plugins = {{L"optimizeral", &m_engine}, {L"connserver", m_connector.Get()}};
        Require(m_server.Load(Product(L"optimizeral.dll"), L"optimizeralcomm") == ERROR_SUCCESS);
        Require(m_client.Load(Product(L"optimizeral.dll"), L"optimizercommclient") == ERROR_SUCCESS);
        Require(m_server.Get()->Init(&m_host) == ERROR_SUCCESS && m_server.Get()->Start() == ERROR_SUCCESS);
        Require(m_client.Get()->Init(nullptr) == ERROR_SUCCESS && m_client.Get()->Start() == ERROR_SUCCESS);
    }
    ~EngineOnAPipe() {
        m_client.Get()->Stop();
        m_client.Get()->UnInit();
        m_server.Get()->Stop();
        m_server.Get()->UnInit();
    }
    EngineOnAPipe(const EngineOnAPipe&) = delete;
    EngineOnAPipe& operator=(const EngineOnAPipe&) = delete;

    IOptimizer* Client() const { return m_client.Get(); }

private:
    test_support::FakeEngine m_engine;
    test_support::FakeHost m_host;
    optimizer::ExportedObject<IConnectorServer> m_connector;
    optimizer::ExportedObject<IServPlugin> m_server;
    optimizer::ExportedObject<IOptimizerALCommClient> m_client;
};

/// One message pipe as the system has it, with a thread that does something with each message at the other
/// end.
class BarePipe {
public:
    using Handler = std::function<void(HANDLE pipe)>;

    BarePipe(const std::wstring& name, Handler handle) {
        const std::wstring path = LR"(\\.\pipe\)" + name;
        m_near.Reset(CreateNamedPipeW(path.c_str(), PIPE_ACCESS_DUPLEX,
                                      PIPE_TYPE_MESSAGE | PIPE_READMODE_MESSAGE, PIPE_UNLIMITED_INSTANCES,
                                      kBufferBytes, kBufferBytes, 0, nullptr));
        m_far.Reset(
            CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
        DWORD mode = PIPE_READMODE_MESSAGE;
        Require(m_near && m_far && SetNamedPipeHandleState(m_far.Get(), &mode, nullptr, nullptr));
        m_thread = std::thread([this, handle = std::move(handle)] {
            char buffer[256];
            DWORD read = 0;
            while (ReadFile(m_far.Get(), buffer, sizeof buffer, &read, nullptr))
                handle(m_far.Get());
        });
    }
    ~BarePipe() {
        m_near.Reset();
        m_thread.join();
    }
    BarePipe(const BarePipe&) = delete;
    BarePipe& operator=(const BarePipe&) = delete;

    static void Write(HANDLE pipe) {
        const char frame[kFrameBytes] = {};
        DWORD written = 0;
        Require(WriteFile(pipe, frame, sizeof frame, &written, nullptr) != FALSE);
    }
    HANDLE Near() const { return m_near.Get(); }

private:
    optimizer::FileHandle m_near;
    optimizer::FileHandle m_far;
    std::thread m_thread;
};

}  // namespace

Figure PipeCall() {
    const EngineOnAPipe engine;
    const BarePipe pipe(PipeName(L"bare_call"), &BarePipe::Write);
    const auto ours = [&engine] {
        optimizer::profiles::profile active{};
        Require(engine.Client()->GetProfile(&active) == ERROR_SUCCESS);
    };
    const auto bare = [&pipe] {
        char answer[256];
        DWORD read = 0;
        BarePipe::Write(pipe.Near());
        Require(ReadFile(pipe.Near(), answer, sizeof answer, &read, nullptr) != FALSE);
    };
    return {"GetProfile over the pipe", "a bare ping-pong", 1.5, Ratios(ours, bare), {}};
}

Figure PipeBroadcast() {
    Channel channel(PipeName(L"broadcast"), kClients);
    Round bareRound;
    std::vector<std::unique_ptr<BarePipe>> pipes;
    for (uint32_t i = 0; i < kClients; ++i) {
        pipes.push_back(std::make_unique<BarePipe>(PipeName(L"bare") + L"_" + std::to_wstring(i),
                                                   [&bareRound](HANDLE) { bareRound.Arrived(); }));
    }
    const auto ours = [&channel] {
        constexpr uint32_t kNumber = 2;
        channel.round.Start(kClients);
        channel.endpoint->broadcast(kMessage, &kNumber, sizeof kNumber, 0, 0, kEveryClient);
        channel.round.Wait();
    };
    const auto bare = [&] {
        bareRound.Start(kClients);
        for (const auto& pipe : pipes)
            BarePipe::Write(pipe->Near());
        bareRound.Wait();
    };
    return {"event to " + std::to_string(kClients) + " clients, until all have it",
            "as many bare writes",
            1.5,
            Ratios(ours, bare),
            {}};
}

}  // namespace bench
