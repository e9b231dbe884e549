#pragma once

#include <cstdint>

namespace optimizer {

/// Services by name. Results are Windows error codes. Timeouts are in milliseconds; 0xFFFFFFFF has no limit.
class IWindowsService {
public:
    virtual ~IWindowsService() = default;
    /// Comes before everything else.
    virtual bool Init() = 0;
    virtual void Uninit() = 0;
    /// Ends the waits of the operations in flight with 995 (ERROR_OPERATION_ABORTED) and blocks until no
    /// operation is left. One at a time.
    virtual void AbortOperations() = 0;
    virtual bool IsBusy() = 0;
    virtual uint32_t StopService(const wchar_t* name, uint32_t timeoutMs) = 0;
    virtual uint32_t StartServiceW(const wchar_t* name, uint32_t timeoutMs) = 0;
    virtual uint32_t PauseService(const wchar_t* name, uint32_t timeoutMs) = 0;
    virtual uint32_t ResumeService(const wchar_t* name, uint32_t timeoutMs) = 0;
    /// `state` is the platform's dwCurrentState.
    virtual uint32_t GetServiceStatus(const wchar_t* name, uint32_t* state) = 0;
    /// `startType` is the platform's dwStartType.
    virtual uint32_t GetStartup(const wchar_t* name, uint32_t* startType) = 0;
    virtual uint32_t SetStartup(const wchar_t* name, uint32_t startType) = 0;
};

}  // namespace optimizer
