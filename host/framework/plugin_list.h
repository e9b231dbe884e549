#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace host {

enum class PluginStartup : uint32_t {
    Off = 0,        // requests are refused
    AtLoad = 1,     // created, initialised and started when the list is loaded
    OnRequest = 2,  // the same at the first request
};

struct PluginListEntry {
    std::wstring name;
    std::wstring library;  // as in the list: absolute, or relative to the host's folder
    PluginStartup startup = PluginStartup::Off;
};

/// The list of plug-ins, an XML file:
///
///   <settings>
///       <plugins>
///           <plugin name="productinfo" dll="iservconfig.dll" startup="2"/>
///       </plugins>
///   </settings>
///
/// Other elements may stand beside "plugins", and other attributes in a plug-in; inside "plugins" nothing but
/// "plugin" may stand, so that a misspelt entry doesn't go unnoticed.
class CPluginList {
public:
    /// 0, the system's error when the file can't be read, or 13 (ERROR_INVALID_DATA) when it isn't such a
    /// list; `failure` then says why in one sentence. Throws std::bad_alloc.
    [[nodiscard]] uint32_t Read(const std::wstring& path, std::wstring& failure);

    /// In the order of the file.
    const std::vector<PluginListEntry>& Entries() const { return m_entries; }

private:
    std::vector<PluginListEntry> m_entries;
};

}  // namespace host
