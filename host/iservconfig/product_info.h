#pragma once

#include <map>
#include <string>
#include <utility>

#include "border/product_info.h"
#include "frame/critical_section.h"
#include "frame/log_binding.h"

namespace host {

/// Component "productinfo": texts about the product, by kind and key, from "settings\productinfo.json" beside
/// this library:
///
///   { "0": { "BASE": "Optimizer" }, "2": { "common": "%ProgramData%\\Optimizer" } }
///
/// Environment variables are replaced. The file is read once, by Init or by the first GetValue of an object
/// that nobody initialises, so that every text that was handed out stays valid as long as the object. A file
/// that is absent or broken leaves all texts empty. Any thread.
class CProductInfo final : public IProductInfo {
public:
    CProductInfo();

    /// Also answers for kConfigurationObjectIdentifier.
    void* QueryInterface(const Identifier* iid) override;
    /// Always 0. Needs nothing of the host: `main` may be null.
    uint32_t Init(IServMain* main) override;
    void UnInit() override {}
    uint32_t Start() override { return 0; }
    uint32_t Stop() override { return 0; }
    void Reserved5() override {}
    /// Never null; empty for what the file doesn't tell.
    const wchar_t* GetValue(int32_t kind, const wchar_t* key) override;

private:
    using ValueKey = std::pair<int32_t, std::wstring>;

    void _ReadOnce();
    void _Read();

    optimizer::trace::LogHolder m_log;
    optimizer::CCriticalSection m_lock;
    bool m_read GUARDED_BY(m_lock) = false;
    std::map<ValueKey, std::wstring>
        m_values;  // written by the one _Read, before any other thread is through _ReadOnce
};

}  // namespace host
