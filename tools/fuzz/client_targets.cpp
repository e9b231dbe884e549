// What a hostile server answers and tells: both clients over the real connector, with the server's end in
// the hands of this program.
#include <atomic>
#include <stdexcept>

#include <windows.h>

#include "comm/boot_time_comm_client.h"
#include "comm/byte_stream.h"
#include "comm/optimizer_comm_client.h"
#include "frame/exported_object.h"
#include "frame/module_path.h"
#include "frame/process_impact.h"
#include "frame/vx_list.h"
#include "frame/vx_string.h"
#include "tools/fuzz/target.h"

namespace fuzz {

namespace {

using optimizer::profiles::profile;

constexpr const wchar_t* kBootTimePipeName = boottime::kBootTimePipe;

/// Answers every request with the text that it was given, as data or as a status.
class HostileEnd {
public:
    HostileEnd(IConnectorServer& connector, const wchar_t* pipe)
        : m_connector(connector), m_end(connector.registerPipe(pipe, kCommonPipeName)) {
        if (m_end == nullptr) throw std::runtime_error("the pipe can't be made");
        m_end->setCallback(&_Receive, this, 1);
    }
    ~HostileEnd() {
        m_end->stopReceiving(1);
        m_connector.unregisterPipe(m_end);
    }
    HostileEnd(const HostileEnd&) = delete;
    HostileEnd& operator=(const HostileEnd&) = delete;

    void Tell(uint32_t id, const std::string& payload) {
        m_end->broadcast(id, payload.data(), static_cast<uint32_t>(payload.size()), 0, 0, kEveryClient);
    }

    std::string answer;  // set between two requests
    uint32_t status = 0;

private:
    static uint32_t _Receive(void* context, const ConnectorMessage* message) noexcept {
        auto& self = *static_cast<HostileEnd*>(context);
        if (self.status != 0) return self.m_end->replyStatus(message, self.status);
        return self.m_end->replyData(message, message->id, self.answer.data(),
                                     static_cast<uint32_t>(self.answer.size()));
    }

    IConnectorServer& m_connector;
    ConnectorEndpoint* const m_end;
};

class Connector {
public:
    Connector() {
        if (m_object.Load(optimizer::GetModuleFolder() + L"connector.dll", L"connserver") != 0)
            throw std::runtime_error("connector.dll can't be loaded");
    }
    IConnectorServer& Server() const { return *m_object.Get(); }

private:
    optimizer::ExportedObject<IConnectorServer> m_object;
};

std::string Number(uint32_t value) {
    return {reinterpret_cast<const char*>(&value), sizeof value};
}

class Clients final : public Target {
public:
    Clients() {
        if (m_engine.Init(nullptr) + m_engine.Start() + m_boot.Init(nullptr) + m_boot.Start() != 0)
            throw std::runtime_error("the clients can't connect");
    }
    ~Clients() override {
        m_engine.Stop();
        m_engine.UnInit();
        m_boot.Stop();
        m_boot.UnInit();
    }

    bool Try(Hostile& hostile) override {
        const uint32_t request = hostile.Below(8);
        hostile.Note("request " + std::to_string(request));
        constexpr const char* kFields[] = {"u", "uw", "u", "j", "u", "uuuuu", "uqqwuuuuu*", "qqq"};
        HostileEnd& end = request < 4 ? m_engineEnd : m_bootEnd;
        end.answer = hostile.Payload(kFields[hostile.OneIn(8) ? hostile.Below(8) : request]);
        end.status = hostile.OneIn(8) ? hostile.Number() : 0;
        // An event now and then; the answer behind it says that it has been taken.
        if (hostile.OneIn(3))
            end.Tell(hostile.MessageId(), hostile.Payload(hostile.OneIn(2) ? "wuu" : "uqqwuuuuu*"));
        return _Ask(request) == 0;
    }

    bool IsSound() override {
        m_engineEnd.answer = Number(2);
        m_bootEnd.answer = Number(42370);
        m_engineEnd.status = m_bootEnd.status = 0;
        profile active{};
        uint32_t timeMs = 0;
        return m_engine.GetProfile(&active) == 0 && active == profile::Game &&
               m_boot.GetBootTime(&timeMs) == 0 && timeMs == 42370;
    }

private:
    uint32_t _Ask(uint32_t request) {
        const profile which = profile::Game;
        profile active{};
        bool enabled = false;
        vx::String text;
        uint32_t timeMs = 0;
        boottime::ProcessCounters total = {};
        boottime::DiskSpeed speed = {};
        vx::List<boottime::ProcessImpact> list;
        switch (request) {
            case 0:
                return m_engine.GetProfile(&active);
            case 1:
                return m_engine.GetProfileConfig(&which, &text);
            case 2:
                return m_engine.GetModuleEnable(&enabled);
            case 3:
                return m_engine.GetLastRun(&text);
            case 4:
                return m_boot.GetBootTime(&timeMs);
            case 5:
                return m_boot.GetTotalBootImpact(&total);
            case 6:
                return m_boot.GetBootImpact(&list, nullptr);
            default:
                return m_boot.GetDiskSpeed(&speed);
        }
    }

    Connector m_connector;
    HostileEnd m_engineEnd{m_connector.Server(), optimizer::kOptimizerPipe};
    HostileEnd m_bootEnd{m_connector.Server(), kBootTimePipeName};
    optimizer::COptimizerCommClient m_engine;
    boottime::CBootTimeCommClient m_boot;
};

}  // namespace

std::unique_ptr<Target> MakeClients() {
    return std::make_unique<Clients>();
}

}  // namespace fuzz
