#pragma once

#include <string>

#include "border/cloud.h"
#include "border/host.h"
#include "frame/exported_object.h"

namespace optimizer {

/// The process's one access to the cloud client library: either a library that it loaded itself or plug-in
/// "icloud" of the host.
///
/// Filled and freed on the host's thread, while no request uses it: CCloudAppsClient ends its serial
/// execution first.
class CCloudFactory {
public:
    static CCloudFactory& GetInstance();

    CCloudFactory(const CCloudFactory&) = delete;
    CCloudFactory& operator=(const CCloudFactory&) = delete;

    /// Lets go of what is held and takes the plug-in. 0 or the component manager's error.
    [[nodiscard]] uint32_t Init(IComponentManager* components);
    /// Lets go of what is held and loads the library at `path`, for a host without the plug-in. 0 or an error
    /// of ExportedObject.
    [[nodiscard]] uint32_t Load(const std::wstring& path);
    /// Releases what is held, once.
    void Free();

    /// An interface that the caller gives back with its Release; null when there is none to be had.
    IVelora* GetRequest();

private:
    CCloudFactory() = default;
    ~CCloudFactory() = default;

    ExportedObject<ICloud> m_library;
    ICloud* m_plugin = nullptr;
    IComponentManager* m_components = nullptr;
};

}  // namespace optimizer
