// What tracing costs while nobody holds the log.
#include <atomic>
#include <cwchar>
#include <stdexcept>
#include <string>

#include <windows.h>

#include <mmsystem.h>

#include "bench/harness.h"
#include "frame/trace.h"

namespace trace = optimizer::trace;

namespace bench {

namespace {

constexpr const wchar_t* kName = L"CProfilesSettings::GetUserActions";

std::atomic<int32_t> g_first = 0;
std::atomic<int32_t> g_second = 0;
std::atomic<int32_t> g_evaluated = 0;

/// Never called: a silent trace line doesn't evaluate its arguments.
std::wstring Argument() {
    ++g_evaluated;
    return kName;
}

inline void WriteOutSite() {
    const bool isLive =
        g_first.load(std::memory_order_relaxed) + g_second.load(std::memory_order_relaxed) > 0;
    if (isLive) [[unlikely]]
        ++g_evaluated;
}

void RequireSilence() {
    if (trace::IsLive()) throw std::runtime_error("the trace isn't silent");
}

}  // namespace

Figure TraceSite() {
    RequireSilence();
    TRACE_SCOPE("CProfilesSettings::GetUserActions");
    // Several in a row, so that it isn't the loop that is measured.
    const auto site = [&traceScope] { TRACE_LINE(trace::kInformation, L"%s", Argument().c_str()); };
    const auto ours = [&] { site(), site(), site(), site(), site(), site(), site(), site(); };
    const auto bare = [] {
        WriteOutSite(), WriteOutSite(), WriteOutSite(), WriteOutSite();
        WriteOutSite(), WriteOutSite(), WriteOutSite(), WriteOutSite();
    };
    Figure figure{"silent trace site", "two loads, an add, a branch", 1.3, Ratios(ours, bare), {}};
    if (g_evaluated != 0) throw std::runtime_error("a silent trace line evaluated its arguments");
    return figure;
}

Figure TraceScope() {
    RequireSilence();
    const auto ours = [] {
        TRACE_SCOPE("CProfilesSettings::GetUserActions");
        Keep(&traceScope);
    };
    const auto bare = [] {
        uint32_t startMs = timeGetTime();
        wchar_t shown[260];
        wchar_t wideName[260];
        wcsncpy_s(shown, 258, kName, _TRUNCATE);
        wcscat_s(shown, L"()");
        wcsncpy_s(wideName, 260, kName, _TRUNCATE);
        Keep(&startMs);
        Keep(shown);
        Keep(wideName);
    };
    return {"silent trace scope", "its two copies and timeGetTime", 1.3, Ratios(ours, bare), {}};
}

}  // namespace bench
