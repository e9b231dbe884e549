// A copy of log.dll in a folder of its own, so that each test has a log without a past.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "frame/handles.h"
#include "frame/module_path.h"
#include "log/log_exports.h"
#include "tests/support/temporary_folder.h"

class LoadedLog {
public:
    LoadedLog() {
        const std::wstring copy = m_folder.File(L"log.dll");
        if (!CopyFileW((optimizer::GetModuleFolder() + L"log.dll").c_str(), copy.c_str(), TRUE)) {
            throw std::runtime_error("log.dll can't be copied");
        }
        m_library.Reset(LoadLibraryW(copy.c_str()));
        if (!m_library) throw std::runtime_error("log.dll can't be loaded");
    }

    template <class Function>
    Function* Get(const char* name) const {
        Function* const function = optimizer::GetExport<Function>(m_library.Get(), name);
        if (function == nullptr) throw std::runtime_error(name);
        return function;
    }

    int32_t Write(int32_t level, const wchar_t* format, ...) const {
        va_list arguments;
        va_start(arguments, format);
        const int32_t result =
            Get<LogWriteFunction>("LogWrite")(0, &level, "C::F", L"C::F", format, arguments);
        va_end(arguments);
        return result;
    }

    /// An entry line (1) or a leave line (-1).
    void Scope(int32_t nesting) const { _Scope(nesting, L"scope"); }

    void WriteSettings(const std::string& json) const {
        CreateDirectoryW(m_folder.File(L"settings").c_str(), nullptr);
        test_support::WriteFileText(m_folder.File(L"settings\\log.json"), json);
    }

    std::wstring File(const std::wstring& name) const { return m_folder.File(name); }
    /// Where the defaults put the log of this program.
    std::wstring DefaultFile() const { return m_folder.File(L"logs\\log_tests.log"); }

private:
    void _Scope(int32_t nesting, const wchar_t* format, ...) const {
        const int32_t level = 32;
        va_list arguments;
        va_start(arguments, format);
        Get<LogWriteFunction>("LogWrite")(nesting, &level, nullptr, L"C::F", format, arguments);
        va_end(arguments);
    }

    test_support::TemporaryFolder m_folder;  // declared first: a loaded library's file can't be removed
    optimizer::Library m_library;
};

/// The lines of a file. A last line without its line break doesn't count: it isn't whole.
inline std::vector<std::string> LinesOf(const std::wstring& path) {
    const std::string text = test_support::ReadFileText(path);
    std::vector<std::string> lines;
    size_t begin = 0;
    for (size_t end = text.find("\r\n"); end != std::string::npos; end = text.find("\r\n", begin)) {
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 2;
    }
    return lines;
}
