#pragma once

#include <atomic>

#include "actions/iwindows_service.h"
#include "frame/handles.h"
#include "frame/trace.h"

namespace optimizer {

struct ServiceCommand;

/// Services through the Service Control Manager. The owner calls Uninit before it deletes the object. Any
/// thread may call any operation in between; the commands block for as long as they wait, at least until the
/// manager answers.
class CWindowsService final : public IWindowsService {
public:
    bool Init() override;
    void Uninit() override;
    void AbortOperations() override;
    bool IsBusy() override { return m_activeOperations != 0; }
    uint32_t StopService(const wchar_t* name, uint32_t timeoutMs) override;
    uint32_t StartServiceW(const wchar_t* name, uint32_t timeoutMs) override;
    uint32_t PauseService(const wchar_t* name, uint32_t timeoutMs) override;
    uint32_t ResumeService(const wchar_t* name, uint32_t timeoutMs) override;
    uint32_t GetServiceStatus(const wchar_t* name, uint32_t* state) override;
    uint32_t GetStartup(const wchar_t* name, uint32_t* startType) override;
    uint32_t SetStartup(const wchar_t* name, uint32_t startType) override;

private:
    template <class Action>
    uint32_t _Operate(const trace::LogScope& traceScope, const wchar_t* name, DWORD access, Action action);
    uint32_t _Command(const trace::LogScope& traceScope, const ServiceCommand& command, const wchar_t* name,
                      uint32_t timeoutMs);
    uint32_t _OpenForConfig(const trace::LogScope& traceScope, const wchar_t* name, DWORD access,
                            ServiceHandle& service);

    ServiceHandle m_serviceManager;
    std::atomic<uint32_t> m_activeOperations = 0;  // status and control operations now running
    std::atomic<uint32_t> m_abortRequested = 0;    // 1 while AbortOperations waits for them
};

}  // namespace optimizer
