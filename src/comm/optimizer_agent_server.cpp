#include "comm/optimizer_agent_server.h"

#include <new>
#include <utility>

#include "comm/agent_pipe.h"
#include "frame/guarded.h"
#include "frame/handles.h"
#include "frame/object_factory.h"
#include "frame/patience.h"
#include "frame/trace.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kConnector = L"connserver";
constexpr auto kStarted = static_cast<int32_t>(NpcMsgAgent::Started);

}  // namespace

/// Hears an agent say that it has started.
class COptimizerAgentServer::Arrival final : public IOptimizerAgentEvents {
public:
    void Reserved0() override {}
    void Reserved1() override {}
    void OnAgentData(const void*, int32_t) override { SetEvent(m_arrived.Get()); }

    HANDLE Event() const { return m_arrived.Get(); }

private:
    KernelHandle m_arrived{CreateEventW(nullptr, FALSE, FALSE, nullptr)};
};

void* COptimizerAgentServer::QueryInterface(const Identifier* iid) {
    if (iid != nullptr && *iid == IAgentPresence::kIdentifier) return static_cast<IAgentPresence*>(this);
    return AnswerFor<IOptimizerAgentServer>(this, iid);
}

uint32_t COptimizerAgentServer::Init(IServMain* main) {
    const uint32_t error = Guarded([&] { return _Init(main); });
    if (error != ERROR_SUCCESS) UnInit();
    return error;
}

uint32_t COptimizerAgentServer::_Init(IServMain* main) {
    TRACE_SCOPE("COptimizerAgentServer::Init");
    if (main == nullptr) {
        TRACE_LINE(trace::kError, L"IServMain is null!");
        return ERROR_INVALID_HANDLE;
    }
    m_components = main->GetComponentManager();
    if (m_components == nullptr) {
        TRACE_LINE(trace::kError, L"Component manager is null!");
        return ERROR_GEN_FAILURE;
    }
    void* plugin = nullptr;
    const uint32_t error = m_components->GetPlugin(kConnector, &IConnectorServer::kIdentifier, &plugin);
    if (error != ERROR_SUCCESS || plugin == nullptr) {
        TRACE_LINE(trace::kError, L"Could not get connector server plugin!");
        return error != ERROR_SUCCESS ? error : uint32_t{ERROR_GEN_FAILURE};
    }
    m_connector = static_cast<IConnectorServer*>(plugin);
    m_endpoint = m_connector->registerPipe(kAgentPipeName, kCommonPipeName);
    if (m_endpoint == nullptr) {
        TRACE_LINE(trace::kError, L"Could not register server!");
        return ERROR_GEN_FAILURE;
    }
    m_watch = static_cast<IClientWatch*>(m_connector->QueryInterface(&IClientWatch::kIdentifier));
    return ERROR_SUCCESS;
}

void COptimizerAgentServer::UnInit() {
    TRACE_SCOPE("COptimizerAgentServer::UnInit");
    // No callback runs any more when this returns; only then may go what they use.
    if (m_endpoint != nullptr) m_connector->unregisterPipe(m_endpoint);
    m_endpoint = nullptr;
    m_watch = nullptr;
    m_isExpected = false;
    if (std::exchange(m_connector, nullptr) != nullptr) m_components->ReleasePlugin(kConnector);
    m_components = nullptr;
    {
        const LockGuard guard(m_startLock);
        m_startCount = 0;
    }
    const LockGuard guard(m_mapLock);
    m_observers.clear();
}

uint32_t COptimizerAgentServer::Start() {
    TRACE_SCOPE("COptimizerAgentServer::Start");
    const LockGuard guard(m_startLock);
    if (++m_startCount == 1 && m_endpoint != nullptr) m_endpoint->setCallback(&_Receive, this, 1);
    return ERROR_SUCCESS;
}

uint32_t COptimizerAgentServer::Stop() {
    TRACE_SCOPE("COptimizerAgentServer::Stop");
    const LockGuard guard(m_startLock);
    if (m_startCount == 0) return ERROR_SUCCESS;
    if (--m_startCount == 0 && m_endpoint != nullptr) m_endpoint->stopReceiving(1);
    return ERROR_SUCCESS;
}

uint32_t COptimizerAgentServer::RunAction(const uint32_t* id, const void* data, uint32_t sizeBytes) {
    TRACE_SCOPE("COptimizerAgentServer::RunAction");
    if (id == nullptr) return ERROR_INVALID_PARAMETER;
    if (m_endpoint == nullptr) return ERROR_GEN_FAILURE;
    if (m_watch != nullptr && *id == static_cast<uint32_t>(NpcMsgAgent::VisualEffects)) {
        // Not to every agent as the others: only what the console's agent found is noted, so that effects of
        // another session would change for good, and come to another user's values.
        const DWORD console = WTSGetActiveConsoleSessionId();
        if (console == IClientWatch::kNoSession) return ERROR_SUCCESS;
        return m_watch->PostToSession(m_endpoint, console, *id, data, sizeBytes);
    }
    return m_endpoint->broadcast(*id, data, sizeBytes, 0, 0, kEveryClient);
}

uint32_t COptimizerAgentServer::RegisterObserver(const int32_t* id, IOptimizerAgentEvents* observer) {
    TRACE_SCOPE("COptimizerAgentServer::RegisterObserver");
    if (id == nullptr || observer == nullptr) return ERROR_INVALID_PARAMETER;
    try {
        return _Register(*id, observer);
    } catch (const std::bad_alloc&) {
        return ERROR_GEN_FAILURE;
    }
}

uint32_t COptimizerAgentServer::_Register(int32_t id, IOptimizerAgentEvents* observer) {
    const LockGuard guard(m_mapLock);
    auto found = m_observers.find(id);
    if (found == m_observers.end()) found = m_observers.emplace(id, std::make_unique<Observers>()).first;
    return found->second->Add(observer);
}

uint32_t COptimizerAgentServer::UnregisterObserver(const int32_t* id, IOptimizerAgentEvents* observer) {
    TRACE_SCOPE("COptimizerAgentServer::UnregisterObserver");
    if (id == nullptr) return ERROR_INVALID_PARAMETER;
    const LockGuard guard(m_mapLock);
    const auto found = m_observers.find(*id);
    return found != m_observers.end() ? found->second->Remove(observer, 0) : uint32_t{ERROR_NOT_FOUND};
}

uint32_t COptimizerAgentServer::_Receive(void* context, const ConnectorMessage* message) noexcept {
    if (context == nullptr || message == nullptr) return ERROR_INVALID_PARAMETER;
    // The connector looks at no result; a message that there is no memory for is lost.
    static_cast<void>(Guarded([&] {
        static_cast<COptimizerAgentServer*>(context)->_Deliver(*message);
        return uint32_t{ERROR_SUCCESS};
    }));
    return ERROR_SUCCESS;
}

void COptimizerAgentServer::_Deliver(const ConnectorMessage& message) {
    TRACE_SCOPE("COptimizerAgentServer::_Deliver");
    const auto id = static_cast<NpcMsgAgent>(message.id);
    const bool isOfConsole = _IsOfConsole(message);
    if (id == NpcMsgAgent::Started && isOfConsole) m_isExpected = false;
    if ((id == NpcMsgAgent::VisualEffects || id == NpcMsgAgent::Started) && !isOfConsole) {
        // One of another user's session would tell that user's effects, and have the engine go on with what
        // it can't do for want of the console's.
        TRACE_LINE(trace::kInformation, L"Client %u is of another session", message.senderId);
        return;
    }
    // Held over the calls: an observer that unregisters elsewhere waits until it isn't called any more.
    const LockGuard guard(m_mapLock);
    const auto found = m_observers.find(static_cast<int32_t>(message.id));
    if (found == m_observers.end()) return;
    found->second->ForEach([&](IOptimizerAgentEvents* observer) {
        observer->OnAgentData(PayloadOf(&message), static_cast<int32_t>(message.sizeBytes));
    });
}

bool COptimizerAgentServer::_IsOfConsole(const ConnectorMessage& message) {
    if (m_watch == nullptr) return true;
    const uint32_t session = m_watch->SessionOf(m_endpoint, message.senderId);
    return session != IClientWatch::kNoSession && session == WTSGetActiveConsoleSessionId();
}

bool COptimizerAgentServer::_IsAgentConnected() {
    if (m_endpoint == nullptr) return false;
    if (m_watch == nullptr) return !m_isExpected;
    const DWORD console = WTSGetActiveConsoleSessionId();
    return console != IClientWatch::kNoSession && m_watch->CountClients(m_endpoint, console) != 0;
}

void COptimizerAgentServer::Expect() {
    TRACE_SCOPE("COptimizerAgentServer::Expect");
    // One that was quicker than its starter isn't to come a second time.
    if (m_watch == nullptr || !_IsAgentConnected()) m_isExpected = true;
}

uint32_t COptimizerAgentServer::WaitForAgent(uint32_t timeoutMs, void* stop) {
    TRACE_SCOPE("COptimizerAgentServer::WaitForAgent");
    return Guarded([&] {
        Arrival arrival;
        // Before the first look: one that comes right behind it is heard.
        const uint32_t error = _Register(kStarted, &arrival);
        if (error != ERROR_SUCCESS) return error;
        const uint32_t result = _Await(arrival, timeoutMs, stop);
        UnregisterObserver(&kStarted, &arrival);
        return result;
    });
}

uint32_t COptimizerAgentServer::_Await(const Arrival& arrival, uint32_t timeoutMs, void* stop) {
    const CPatience patience(timeoutMs, stop);
    for (;;) {
        // Read first: an agent that comes between the two looks isn't expected any more, but connected.
        const bool isExpected = m_isExpected;
        if (_IsAgentConnected()) return ERROR_SUCCESS;
        if (!isExpected) return ERROR_NOT_FOUND;
        const uint32_t error = patience.WaitFor(arrival.Event());
        if (error == ERROR_SUCCESS) continue;
        // One that didn't come in all that time costs the next caller nothing.
        if (error == ERROR_TIMEOUT) m_isExpected = false;
        return error;
    }
}

}  // namespace optimizer
