#include "tests/support/simulated_log.h"

#include <algorithm>
#include <stdexcept>

#include "frame/handles.h"

namespace test_support {

namespace {

template <class Function>
Function* FromLog(const char* name) {
    const HMODULE library = GetModuleHandleW(L"log.dll");
    auto* const function = library != nullptr ? optimizer::GetExport<Function>(library, name) : nullptr;
    if (function == nullptr)
        throw std::runtime_error("the simulated log library is not beside the test program");
    return function;
}

std::vector<std::wstring> Texts(const char* name) {
    const auto& textAt = *FromLog<const wchar_t*(uint32_t)>(name);
    std::vector<std::wstring> texts;
    for (uint32_t i = 0; const wchar_t* text = textAt(i); ++i)
        texts.emplace_back(text);
    return texts;
}

}  // namespace

TraceRecorder::TraceRecorder() {
    m_holder.Get();
    FromLog<void()>("SimulatedClear")();
}

std::vector<std::wstring> TraceRecorder::Lines() const {
    return Texts("SimulatedLine");
}

bool TraceRecorder::Has(const std::wstring& line) const {
    const auto lines = Lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

LogCalls::LogCalls() : m_library(LoadLibraryW(L"log.dll")) {
    FromLog<void()>("SimulatedClear")();
}

std::vector<std::wstring> LogCalls::Take() const {
    const auto calls = Texts("SimulatedCall");
    FromLog<void()>("SimulatedClear")();
    return calls;
}

}  // namespace test_support
