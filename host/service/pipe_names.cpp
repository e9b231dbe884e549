#include "host/service/pipe_names.h"

#include "border/boot_time.h"
#include "host/pipe_holder/pipe_holder.h"

namespace host {

namespace {

constexpr const wchar_t* kPipes[] = {L"optimizerpipe", L"optimizeragentpipe", boottime::kBootTimePipe};

}  // namespace

std::wstring HeldPipesSentence() {
    for (const wchar_t* name : kPipes) {
        const auto holder = FindPipeHolder(std::wstring(L"\\\\.\\pipe\\") + name);
        if (holder) {
            return std::wstring(L"The name of the pipe ") + name + L" is taken by " + HolderText(*holder) +
                   L"; end that process, or whoever started it, and start this again.";
        }
    }
    return {};
}

}  // namespace host
