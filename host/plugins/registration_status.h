#pragma once

#include <string>
#include <thread>

#include "border/registration_status.h"
#include "frame/callback_list.h"
#include "frame/critical_section.h"
#include "frame/handles.h"
#include "frame/log_binding.h"
#include "plugins/registration_file.h"

struct IServMain;

namespace host {

/// Component "regal": who is signed in, from the file "registration.json" in the settings folder. Nobody is,
/// while the file is absent, broken or open to others than administrators.
///
/// From Start to Stop a thread watches the folder and calls the callbacks when the file's fields change: the
/// one for the status, the one for the account, or both. Stop blocks until that thread has ended, and so
/// until a callback in flight returns. Any thread may read, register and unregister.
class CRegistrationStatus final : public IRegistrationStatus {
public:
    CRegistrationStatus();
    ~CRegistrationStatus() { static_cast<void>(Stop()); }
    CRegistrationStatus(const CRegistrationStatus&) = delete;
    CRegistrationStatus& operator=(const CRegistrationStatus&) = delete;

    void* QueryInterface(const Identifier* iid) override;
    /// 0, or 6 for a missing host object.
    uint32_t Init(IServMain* main) override;
    void UnInit() override {}
    /// 0, or the system's error when there can be no thread. The fields are there when it returns.
    uint32_t Start() override;
    uint32_t Stop() override;
    void Read(RegistrationReceiver* receive, void* context) override;
    uint32_t RegisterCallback(RegistrationChange change, RegistrationCallback* function,
                              void* context) override;
    uint32_t UnregisterCallback(RegistrationChange change, RegistrationCallback* function,
                                void* context) override;

private:
    struct Callback {
        RegistrationCallback* function;
        void* context;
        bool operator==(const Callback& other) const = default;
    };
    using Callbacks = optimizer::CallbackList<Callback>;

    Callbacks& _CallbacksOf(RegistrationChange change);
    void _Watch();
    RegistrationFileState _Refresh();
    RegistrationFileState _ReadFile(Registration& out);

    optimizer::trace::LogHolder m_log;
    std::wstring m_folder;   // constant after Init
    std::wstring m_problem;  // the last one traced; of Start, then of the thread
    Callbacks m_statusCallbacks;
    Callbacks m_accountCallbacks;
    optimizer::CCriticalSection m_lock;
    Registration m_registration GUARDED_BY(m_lock);
    optimizer::KernelHandle m_stop;
    std::thread m_thread;
};

}  // namespace host
