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

}  // namespace

TraceRecorder::TraceRecorder() {
    m_holder.Get();
    FromLog<void()>("SimulatedClear")();
}

std::vector<std::wstring> TraceRecorder::Lines() const {
    const auto& lineAt = *FromLog<const wchar_t*(uint32_t)>("SimulatedLine");
    std::vector<std::wstring> lines;
    for (uint32_t i = 0; const wchar_t* line = lineAt(i); ++i)
        lines.emplace_back(line);
    return lines;
}

bool TraceRecorder::Has(const std::wstring& line) const {
    const auto lines = Lines();
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

}  // namespace test_support
