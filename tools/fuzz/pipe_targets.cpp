// The service's pipes: any client may send any of this.
#include "comm/boot_time_comm.h"
#include "comm/byte_stream.h"
#include "comm/optimizer_al_comm.h"
#include "frame/users_library.h"
#include "frame/vx_string.h"
#include "settings/profiles_settings.h"
#include "tests/support/fake_boot_time.h"
#include "tests/support/fake_engine.h"
#include "tests/support/fake_host.h"
#include "tests/support/simulated_users.h"
#include "tools/fuzz/answering_connector.h"
#include "tools/fuzz/target.h"
#include "tools/rig/temporary_folder.h"

namespace fuzz {

namespace {

using optimizer::CByteStream;
using optimizer::profiles::profile;

/// The engine as far as the pipe's bytes reach: configs go to the real store and its files.
class StoringEngine final : public test_support::FakeEngine {
public:
    uint32_t SetProfileConfig(const profile* which, vx::String* config) override {
        return m_store.SetConfig(which, config->Text()) ? 0 : 31;
    }
    uint32_t GetProfileConfig(const profile* which, vx::String* config) override {
        std::wstring text;
        if (!m_store.GetConfig(which, text)) return 31;
        return config->Assign(text.c_str()), 0;
    }

private:
    rig::TemporaryFolder m_folder;
    optimizer::CProfilesSettings m_store{m_folder.Path()};
};

const char* FieldsOf(uint32_t id) {
    switch (id) {
        case 2:
        case 9:
        case 64:
            return "";
        case 5:
            return "uj";
        case 3:
        case 4:
        case 7:
        case 10:
        case 11:
            return "wu";
        case 24:
            return "wuu";
        default:
            return "u";
    }
}

class EnginePipe final : public Target {
public:
    EnginePipe() : m_isReady(_Begin()) {}
    ~EnginePipe() override {
        m_server.Stop();
        m_server.UnInit();
        optimizer::VxUsersLibrary::Instance().Unbind();
    }

    bool Try(Hostile& hostile) override {
        const uint32_t id = hostile.MessageId();
        const bool waits = !hostile.OneIn(4);
        hostile.Note("message " + std::to_string(id));
        m_connector.end.Bring(id, hostile.Payload(FieldsOf(hostile.OneIn(10) ? 5 : id)), waits);
        return m_connector.end.IsAnswered();
    }

    bool IsSound() override {
        CByteStream config;
        config.WriteUint32(1);
        config.WriteString(L"{\"A\":{\"active\":true}}");
        const std::string payload(static_cast<const char*>(config.Data()), config.SizeBytes());
        m_connector.end.Bring(5, payload, true);
        const bool isStored = m_connector.end.replies == std::vector<uint32_t>{0};
        m_connector.end.Bring(6, payload.substr(0, 4), true);
        return m_isReady && isStored && m_connector.end.answers == std::vector<std::string>{payload};
    }

private:
    bool _Begin() {
        optimizer::VxUsersLibrary::Instance().Bind();
        test_support::SetSimulatedUser(L"HOME", L"ann");
        m_host.manager.plugins = {{L"optimizeral", &m_engine}, {L"connserver", &m_connector}};
        return m_server.Init(&m_host) == 0 && m_server.Start() == 0;
    }

    StoringEngine m_engine;
    test_support::FakeHost m_host;
    AnsweringConnector m_connector;
    optimizer::COptimizerALComm m_server;
    bool m_isReady = false;
};

class BootPipe final : public Target {
public:
    BootPipe() : m_isReady(_Begin()) {}
    ~BootPipe() override {
        m_server.Stop();
        m_server.UnInit();
    }

    bool Try(Hostile& hostile) override {
        const uint32_t id = hostile.OneIn(2) ? 1 + hostile.Below(4) : hostile.MessageId();
        m_bootTime.result = hostile.OneIn(3) ? hostile.Number() : 0;
        hostile.Note("message " + std::to_string(id));
        m_connector.end.Bring(id, hostile.Payload(hostile.OneIn(2) ? "qqw" : "u"), !hostile.OneIn(4));
        return m_connector.end.IsAnswered();
    }

    bool IsSound() override {
        m_bootTime.result = 0;
        CByteStream timeMs;
        timeMs.WriteUint32(m_bootTime.timeMs);
        m_connector.end.Bring(1, "", true);
        return m_isReady && m_connector.end.answers ==
                                std::vector{std::string(static_cast<const char*>(timeMs.Data()), 4)};
    }

private:
    bool _Begin() {
        m_bootTime.processes = {test_support::Impact(7, L"a.exe", {1, 2, 3, 4, 5}),
                                test_support::Impact(700, L"b.exe", {})};
        m_host.manager.plugins = {{L"boottime", &m_bootTime}, {L"connserver", &m_connector}};
        return m_server.Init(&m_host) == 0 && m_server.Start() == 0;
    }

    test_support::FakeBootTime<boottime::IBootTime> m_bootTime;
    test_support::FakeHost m_host;
    AnsweringConnector m_connector;
    boottime::CBootTimeComm m_server;
    bool m_isReady = false;
};

}  // namespace

std::unique_ptr<Target> MakeEnginePipe() {
    return std::make_unique<EnginePipe>();
}

std::unique_ptr<Target> MakeBootPipe() {
    return std::make_unique<BootPipe>();
}

}  // namespace fuzz
