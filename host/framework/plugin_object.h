#pragma once

#include <string>

#include "border/plugin.h"
#include "frame/exported_object.h"

namespace host {

/// A plug-in's library and the object that came from it. One thread at a time.
class CPluginObject {
public:
    /// 0 or the system's error. The library then stays loaded until FreeCode.
    [[nodiscard]] uint32_t LoadCode(const std::wstring& path);
    /// Makes the object from the loaded library. 0, or an error of ExportedObject. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Create(const std::wstring& path, const std::wstring& name);
    /// Ends the object only: others may still hold what came from the library.
    void Destroy() { m_object.Release(); }
    void FreeCode() { m_library.Reset(); }

    /// Null when there is no object.
    IServPlugin* Get() const { return m_object.Get(); }

private:
    optimizer::Library m_library;  // declared first: outlives the object
    optimizer::ExportedObject<IServPlugin> m_object;
};

}  // namespace host
