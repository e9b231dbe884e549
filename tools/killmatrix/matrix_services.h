#pragma once

#include "frame/handles.h"
#include "tools/killmatrix/picture.h"

namespace killmatrix {

/// The services of the machine, run by the program scratch_service.exe in this program's folder. Unlike the
/// rig's, they have names of their own and stay, since the programs of a road come one after another. All
/// throw std::runtime_error on a failure of the service manager.
class MatrixServices {
public:
    MatrixServices();

    /// Makes those of the picture that aren't there yet.
    void Install(const Picture& wanted) const;
    /// Adds each service as "service/<name>" with "RUNNING AUTOMATIC" and the like.
    void Describe(Picture& picture) const;
    /// Brings the services of `wanted` that differ into its state; waits up to ten seconds for each.
    void Restore(const Picture& wanted) const;

private:
    optimizer::ServiceHandle m_manager;
};

}  // namespace killmatrix
