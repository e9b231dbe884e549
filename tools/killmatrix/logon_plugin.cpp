// A plug-in "sessionchange" that has a user log on whenever "killmatrix_machine logon" says so, for Wine's
// service manager tells of no logons.
#include <iterator>
#include <thread>

#include <windows.h>

#include "frame/handles.h"
#include "frame/object_factory.h"
#include "plugins/session_change.h"
#include "tools/killmatrix/logon_plugin.h"

namespace {

/// Passes everything on to the host's own component and adds the logons, on a thread of its own.
class CLogonOnDemand final : public ISessionChange {
public:
    void* QueryInterface(const Identifier* iid) override {
        return optimizer::AnswerFor<ISessionChange>(this, iid);
    }
    uint32_t Init(IServMain* main) override { return m_changes.Init(main); }
    void UnInit() override { m_changes.UnInit(); }
    uint32_t Start() override {
        m_thread = std::thread([this] { _Run(); });
        return m_changes.Start();
    }
    uint32_t Stop() override {
        SetEvent(m_stop.Get());
        if (m_thread.joinable()) m_thread.join();
        return m_changes.Stop();
    }
    uint32_t Subscribe(ISessionChangeEvents* observer) override { return m_changes.Subscribe(observer); }
    uint32_t Unsubscribe(ISessionChangeEvents* observer) override { return m_changes.Unsubscribe(observer); }
    void Notify(uint32_t time, uint32_t event, const tagWTSSESSION_NOTIFICATION* notification) override {
        m_changes.Notify(time, event, notification);
    }

private:
    void _Run() {
        const HANDLE events[] = {m_stop.Get(), m_logon.Get()};
        while (WaitForMultipleObjects(2, events, FALSE, INFINITE) == WAIT_OBJECT_0 + 1) {
            WTSSESSION_NOTIFICATION notification = {sizeof(notification), WTSGetActiveConsoleSessionId()};
            Notify(GetTickCount(), WTS_SESSION_LOGON, &notification);
        }
    }

    host::CSessionChange m_changes;
    optimizer::KernelHandle m_stop{CreateEventW(nullptr, TRUE, FALSE, nullptr)};
    optimizer::KernelHandle m_logon{CreateEventW(nullptr, FALSE, FALSE, killmatrix::kLogonEvent)};
    std::thread m_thread;
};

const optimizer::ComponentEntry kComponents[] = {
    optimizer::OwnedComponent<CLogonOnDemand>(L"sessionchange"),
};

}  // namespace

extern "C" uint32_t VxCreateObject(const wchar_t* name, const Identifier* iid, void** out) {
    return optimizer::CreateComponent(kComponents, std::size(kComponents), name, iid, out);
}

extern "C" void VxDestroyObject(const wchar_t* name, void* object) {
    optimizer::DestroyComponent(kComponents, std::size(kComponents), name, object);
}
