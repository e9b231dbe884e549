#include "iservconfig/product_info.h"

#include <charconv>
#include <new>

#include "frame/json.h"
#include "frame/module_path.h"
#include "frame/object_factory.h"
#include "frame/text.h"
#include "frame/trace.h"
#include "iservconfig/settings_file.h"

namespace host {

namespace json = optimizer::json;
namespace trace = optimizer::trace;

namespace {

constexpr wchar_t kFileName[] = L"settings\\productinfo.json";

/// A kind is written as a decimal number and nothing else.
bool ParseKind(const std::string& text, int32_t& kind) {
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, kind);
    return error == std::errc() && rest == end;
}

}  // namespace

CProductInfo::CProductInfo() {
    m_log.Get();
}

void* CProductInfo::QueryInterface(const Identifier* iid) {
    if (iid != nullptr && *iid == kConfigurationObjectIdentifier) return static_cast<IProductInfo*>(this);
    return optimizer::AnswerFor<IProductInfo>(this, iid);
}

uint32_t CProductInfo::Init(IServMain*) {
    TRACE_SCOPE("CProductInfo::Init");
    _ReadOnce();
    return ERROR_SUCCESS;
}

const wchar_t* CProductInfo::GetValue(int32_t kind, const wchar_t* key) {
    TRACE_SCOPE("CProductInfo::GetValue");
    if (key == nullptr) return L"";
    _ReadOnce();
    try {
        const auto found = m_values.find({kind, key});
        const wchar_t* const value = found != m_values.end() ? found->second.c_str() : L"";
        TRACE_LINE(trace::kInformation, L"kind=%d key=%s value=%s", kind, key, value);
        return value;
    } catch (const std::bad_alloc&) {
        return L"";
    }
}

void CProductInfo::_ReadOnce() {
    TRACE_SCOPE("CProductInfo::_ReadOnce");
    const optimizer::CriticalSectionGuard guard(m_lock);
    if (m_read) return;
    m_read = true;
    try {
        _Read();
    } catch (const std::bad_alloc&) {
        TRACE_LINE(trace::kError, L"Out of memory");
    }
}

void CProductInfo::_Read() {
    TRACE_SCOPE("CProductInfo::_Read");
    picojson::value root;
    std::wstring failure;
    if (ReadSettingsFile(optimizer::GetModuleFolder() + kFileName, root, failure) != SettingsFileState::Ok) {
        TRACE_LINE(trace::kWarning, L"%s", failure.c_str());
        return;
    }
    if (!root.is<picojson::object>()) {
        TRACE_LINE(trace::kWarning, L"%s is not an object", kFileName);
        return;
    }
    for (const auto& [kindText, keys] : root.get<picojson::object>()) {
        int32_t kind = 0;
        if (!ParseKind(kindText, kind) || !keys.is<picojson::object>()) {
            TRACE_LINE(trace::kWarning, L"Kind '%S' is not a number with an object of texts",
                       kindText.c_str());
            continue;
        }
        for (const auto& [key, value] : keys.get<picojson::object>()) {
            if (const auto text = json::ToText(&value)) {
                m_values[{kind, optimizer::Widen(key)}] = ExpandEnvironment(optimizer::Widen(*text));
            } else {
                TRACE_LINE(trace::kWarning, L"'%S' of kind %d is not a text", key.c_str(), kind);
            }
        }
    }
}

}  // namespace host
