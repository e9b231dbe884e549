#pragma once

#include <string>

#include "border/cloud.h"

namespace optimizer {

/// Whoever makes requests.
class ICloudRequestObserver {
public:
    virtual void OnCloudResponse(const std::string& response) = 0;

protected:
    ~ICloudRequestObserver() = default;
};

/// Sends texts to one service of the suite's cloud and gets a text back for each. The process's
/// CCloudFactory must be filled before, and freed after. One thread at a time.
class CCloudRequest {
public:
    /// `path` names the service. A failure leaves a usable object: Exec asks for all that it needs anew.
    CCloudRequest(std::string path, ICloudRequestObserver* observer);
    ~CCloudRequest();
    CCloudRequest(const CCloudRequest&) = delete;
    CCloudRequest& operator=(const CCloudRequest&) = delete;

    /// Sends `body` and appends the answer to `response`, which stays as it is on every failure. Blocks for
    /// ten seconds at most.
    void Exec(const std::string& body, std::string& response);

private:
    class Exchange;

    std::string m_path;
    IVelora* m_velora = nullptr;
    VeloraRequest* m_request = nullptr;
    [[maybe_unused]] ICloudRequestObserver*
        m_observer;  // nobody is told: Exec hands the answer to its caller
};

}  // namespace optimizer
