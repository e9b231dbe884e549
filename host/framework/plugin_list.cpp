#include "framework/plugin_list.h"

#include <algorithm>
#include <cwchar>
#include <optional>

#include <windows.h>
#include <objbase.h>
#include <shlwapi.h>
#include <xmllite.h>

#include "frame/handles.h"
#include "frame/text.h"
#include "trust/file_trust.h"

namespace host {

using optimizer::GetExport;
using optimizer::Library;
using optimizer::SystemErrorText;

namespace {

template <class T>
struct ComTraits {
    using Type = T*;
    static Type Invalid() { return nullptr; }
    static void Close(Type object) { object->Release(); }
};
template <class T>
using ComPointer = optimizer::UniqueHandle<ComTraits<T>>;

uint32_t ToError(HRESULT result) {
    if (SUCCEEDED(result)) return ERROR_SUCCESS;
    return HRESULT_FACILITY(result) == FACILITY_WIN32 ? HRESULT_CODE(result) : static_cast<uint32_t>(result);
}

/// A reader over a file. The library is bound by name: not every tool chain has an import library for it.
class XmlFile {
public:
    uint32_t Open(const std::wstring& path) {
        m_library.Reset(LoadLibraryExW(L"xmllite.dll", nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32));
        if (!m_library) return GetLastError();
        const auto create = GetExport<decltype(CreateXmlReader)>(m_library.Get(), "CreateXmlReader");
        if (create == nullptr) return GetLastError();
        HRESULT result = SHCreateStreamOnFileEx(path.c_str(), STGM_READ | STGM_SHARE_DENY_WRITE, 0, FALSE,
                                                nullptr, m_stream.Receive());
        if (FAILED(result)) return ToError(result);
        result = create(__uuidof(IXmlReader), reinterpret_cast<void**>(m_reader.Receive()), nullptr);
        if (SUCCEEDED(result)) result = m_reader.Get()->SetInput(m_stream.Get());
        return ToError(result);
    }

    IXmlReader& Reader() const { return *m_reader.Get(); }

private:
    Library m_library;
    ComPointer<IStream> m_stream;
    ComPointer<IXmlReader> m_reader;
};

std::optional<PluginStartup> ParseStartup(const std::wstring& text) {
    if (text.size() != 1 || text[0] < L'0' || text[0] > L'2') return std::nullopt;
    return static_cast<PluginStartup>(text[0] - L'0');
}

/// Walks through the elements and collects the plug-ins.
class ListParser {
public:
    ListParser(IXmlReader& reader, std::vector<PluginListEntry>& entries)
        : m_reader(reader), m_entries(entries) {}

    bool Parse() {
        XmlNodeType type = XmlNodeType_None;
        HRESULT result = S_OK;
        while ((result = m_reader.Read(&type)) == S_OK) {
            if (type == XmlNodeType_Element && !_OnElement()) return false;
            if (type == XmlNodeType_EndElement) m_path.pop_back();
            if (type == XmlNodeType_Whitespace && _IsTextEmpty()) break;
        }
        if (result != S_FALSE || !m_hasRoot || !m_path.empty()) return _Fail(L"isn't well-formed XML");
        return m_hasPlugins || _Fail(L"ends a file that has no \"plugins\" in \"settings\"");
    }

    /// The rest of a sentence that begins with the line.
    const std::wstring& Problem() const { return m_problem; }
    UINT Line() const {
        UINT line = 0;
        m_reader.GetLineNumber(&line);
        return line;
    }

private:
    bool _Fail(const std::wstring& problem) {
        m_problem = problem;
        return false;
    }

    /// Where a file breaks off, some versions of the library read empty white space for ever.
    bool _IsTextEmpty() const {
        const wchar_t* text = nullptr;
        UINT length = 0;
        return FAILED(m_reader.GetValue(&text, &length)) || length == 0;
    }

    bool _OnElement() {
        m_hasRoot = true;
        const wchar_t* name = nullptr;
        if (FAILED(m_reader.GetLocalName(&name, nullptr))) return _Fail(L"isn't well-formed XML");
        const bool isEmpty =
            m_reader.IsEmptyElement() != FALSE;  // told of the element, not of its attributes
        m_path.emplace_back(name);
        if (!_OnPath()) return false;
        if (isEmpty) m_path.pop_back();
        return true;
    }

    bool _OnPath() {
        if (m_path[0] != L"settings") return _Fail(L"has \"" + m_path[0] + L"\" in place of \"settings\"");
        if (m_path.size() < 2 || m_path[1] != L"plugins") return true;
        m_hasPlugins = true;
        if (m_path.size() < 3) return true;
        if (m_path.size() > 3 || m_path[2] != L"plugin") {
            return _Fail(L"has \"" + m_path.back() + L"\", which isn't known there");
        }
        return _OnPlugin();
    }

    bool _OnPlugin() {
        PluginListEntry entry;
        if (!_Attribute(L"name", entry.name) || !_Attribute(L"dll", entry.library)) return false;
        std::wstring startup;
        if (!_Attribute(L"startup", startup)) return false;
        const auto parsed = ParseStartup(startup);
        if (!parsed) {
            return _Fail(L"has the startup \"" + startup + L"\" for the plug-in \"" + entry.name +
                         L"\"; it must be 0, 1 or 2");
        }
        entry.startup = *parsed;
        const bool isKnown =
            std::any_of(m_entries.begin(), m_entries.end(),
                        [&](const PluginListEntry& known) { return known.name == entry.name; });
        if (isKnown) return _Fail(L"names the plug-in \"" + entry.name + L"\" a second time");
        m_entries.push_back(std::move(entry));
        return true;
    }

    bool _Attribute(const wchar_t* name, std::wstring& out) {
        const wchar_t* value = nullptr;
        if (m_reader.MoveToAttributeByName(name, nullptr) == S_OK &&
            SUCCEEDED(m_reader.GetValue(&value, nullptr))) {
            out = value;
        }
        m_reader.MoveToElement();
        return !out.empty() || _Fail(std::wstring(L"has a plug-in without a \"") + name + L"\"");
    }

    IXmlReader& m_reader;
    std::vector<PluginListEntry>& m_entries;
    std::vector<std::wstring> m_path;  // the names of the open elements
    bool m_hasRoot = false;
    bool m_hasPlugins = false;
    std::wstring m_problem;
};

}  // namespace

uint32_t CPluginList::Read(const std::wstring& path, std::wstring& failure) {
    m_entries.clear();
    // Held over the reading, so that it is the file that was judged which is read.
    const optimizer::FileHandle held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                                 OPEN_EXISTING, optimizer::FlagsAgainstLinks(), nullptr));
    if (held) failure = optimizer::WhyUnused(held.Get(), path);
    if (held && !failure.empty()) return ERROR_INVALID_OWNER;
    XmlFile file;
    const uint32_t error = file.Open(path);
    if (error != ERROR_SUCCESS) {
        failure = L"The plug-in list " + path + L" can't be read: " + SystemErrorText(error) + L".";
        return error;
    }
    ListParser parser(file.Reader(), m_entries);
    if (parser.Parse()) return ERROR_SUCCESS;
    m_entries.clear();
    failure = L"The plug-in list " + path + L" can't be used: line " + std::to_wstring(parser.Line()) + L" " +
              parser.Problem() + L".";
    return ERROR_INVALID_DATA;
}

}  // namespace host
