#include "actions/vista_hibernate.h"

#include "frame/trace.h"

namespace optimizer {

namespace {

struct Setting {
    const wchar_t* word;
    GUID guid;
};
constexpr Setting kEnabled = {L"HibernateEnabled",
                              {0x94AC6D29, 0x73CE, 0x41A6, {0x80, 0x9F, 0x63, 0x63, 0xBA, 0x21, 0xB4, 0x7E}}};
constexpr Setting kTimeout = {L"HibernateTimeout",
                              {0x9D7815A6, 0x7EE4, 0x497E, {0x88, 0x88, 0x51, 0x5A, 0x05, 0xF0, 0x23, 0x64}}};

struct Side {
    const wchar_t* mark;
    const wchar_t* readName;
    const wchar_t* writeName;
    decltype(PowerFunctions::readDC) PowerFunctions::*read;
    decltype(PowerFunctions::writeDC) PowerFunctions::*write;
};
constexpr Side kBattery = {L"OnBaterry", L"PowerReadDCValueIndex", L"PowerWriteDCValueIndex",
                           &PowerFunctions::readDC, &PowerFunctions::writeDC};
constexpr Side kCable = {L"OnCable", L"PowerReadACValueIndex", L"PowerWriteACValueIndex",
                         &PowerFunctions::readAC, &PowerFunctions::writeAC};

bool Read(const PowerFunctions& functions, const Side& side, const GUID* scheme, DWORD& enabled,
          DWORD& timeout) {
    TRACE_MARKED_SCOPE("CVistaHibernate::Get", side.mark);
    const auto read = [&](const Setting& setting, DWORD& value) {
        const DWORD error =
            functions.bound ? (functions.*side.read)(nullptr, scheme, &kSleepSubgroup, &setting.guid, &value)
                            : ERROR_GEN_FAILURE;
        if (error == 0) return true;
        TRACE_LINE(trace::kWarning, L"%s %s failed 0x%x", side.readName, setting.word, error);
        return false;
    };
    return read(kEnabled, enabled) && read(kTimeout, timeout);
}

bool Write(const PowerFunctions& functions, const Side& side, const GUID* noted, bool enabled,
           DWORD timeout) {
    TRACE_MARKED_SCOPE("CVistaHibernate::Set", side.mark);
    // Asked anew each time, and left allocated on purpose.
    GUID* active = nullptr;
    const DWORD schemeError =
        functions.bound ? functions.getActiveScheme(nullptr, &active) : ERROR_GEN_FAILURE;
    if (schemeError != 0) {
        TRACE_LINE(trace::kError, L"PowerGetActiveScheme failed 0x%x", schemeError);
        return false;
    }
    // The plan that the note is of: in another one, chosen meanwhile, nobody would find the change again.
    const GUID* const scheme = noted != nullptr ? noted : active;
    const auto write = [&](const Setting& setting, DWORD value) {
        const DWORD error = (functions.*side.write)(nullptr, scheme, &kSleepSubgroup, &setting.guid, value);
        if (error == 0) return true;
        TRACE_LINE(trace::kError, L"%s %s failed 0x%x", side.writeName, setting.word, error);
        return false;
    };
    // The values go into the scheme's stored settings. PowerSetActiveScheme must not follow: nothing
    // re-applies the scheme here.
    return write(kEnabled, enabled ? 1 : 0) && write(kTimeout, timeout);
}

}  // namespace

bool CVistaHibernate::Init() {
    TRACE_SCOPE("CVistaHibernate::Init");
    m_functions = std::make_unique<PowerFunctions>();
    if (!m_functions->Bind()) {
        Uninit();
        return false;
    }
    const DWORD error = m_functions->getActiveScheme(nullptr, reinterpret_cast<GUID**>(m_scheme.Receive()));
    if (error != 0) {
        TRACE_LINE(trace::kError, L"PowerGetActiveScheme failed 0x%x", error);
        return false;
    }
    return true;
}

void CVistaHibernate::Uninit() {
    TRACE_SCOPE("CVistaHibernate::Uninit");
    m_scheme.Reset();
    m_functions.reset();
}

bool CVistaHibernate::Get(bool onBattery, bool* enabled, uint32_t* timeout) {
    TRACE_SCOPE("CVistaHibernate::Get");
    if (m_functions == nullptr) return false;
    const auto* const scheme = static_cast<const GUID*>(m_scheme.Get());
    DWORD enabledValue = 0;
    DWORD timeoutValue = 0;
    if (!Read(*m_functions, onBattery ? kBattery : kCable, scheme, enabledValue, timeoutValue)) return false;
    *enabled = enabledValue != 0;
    *timeout = timeoutValue;
    return true;
}

bool CVistaHibernate::Set(bool onBattery, bool enabled, uint32_t timeout) {
    TRACE_SCOPE("CVistaHibernate::Set");
    const GUID* const noted = m_noted ? &*m_noted : nullptr;
    return m_functions != nullptr &&
           Write(*m_functions, onBattery ? kBattery : kCable, noted, enabled, timeout);
}

std::string CVistaHibernate::Scheme() {
    return m_scheme ? SchemeText(*static_cast<const GUID*>(m_scheme.Get())) : std::string();
}

void CVistaHibernate::UseScheme(const std::string& scheme) {
    GUID guid = {};
    if (SchemeFromText(scheme, guid)) m_noted = guid;
}

bool CVistaHibernate::IsSchemeGone(bool onBattery) {
    TRACE_SCOPE("CVistaHibernate::IsSchemeGone");
    if (m_functions == nullptr || !m_functions->bound || !m_noted) return false;
    DWORD value = 0;
    const auto read = m_functions.get()->*(onBattery ? kBattery : kCable).read;
    const std::optional<GUID> active = m_functions->ActiveScheme();
    return active && *active != *m_noted &&
           read(nullptr, &*m_noted, &kSleepSubgroup, &kEnabled.guid, &value) == ERROR_FILE_NOT_FOUND;
}

}  // namespace optimizer
