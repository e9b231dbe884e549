#include "tools/rig/child_process.h"

#include <stdexcept>

namespace rig {

namespace {

constexpr DWORD kPatienceMs = 20000;

struct Pipe {
    optimizer::FileHandle read;
    optimizer::FileHandle write;
};

/// One end goes to the child; the other must not, or the pipe would never end.
Pipe MakePipe(bool childReads) {
    SECURITY_ATTRIBUTES inheritable = {sizeof(inheritable), nullptr, TRUE};
    Pipe pipe;
    if (!CreatePipe(pipe.read.Receive(), pipe.write.Receive(), &inheritable, 0))
        throw std::runtime_error("no pipe");
    SetHandleInformation((childReads ? pipe.write : pipe.read).Get(), HANDLE_FLAG_INHERIT, 0);
    return pipe;
}

}  // namespace

ChildProcess::ChildProcess(const std::wstring& commandLine)
    : m_news(CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    Pipe input = MakePipe(true);
    Pipe output = MakePipe(false);
    STARTUPINFOW startup = {};
    startup.cb = sizeof(startup);
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdInput = input.read.Get();
    startup.hStdOutput = output.write.Get();
    startup.hStdError = output.write.Get();
    PROCESS_INFORMATION information = {};
    std::wstring command = commandLine;
    // Wine fails to start a program now and then for no reason that it tells.
    for (int attempt = 0; !CreateProcessW(nullptr, command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                                          nullptr, &startup, &information);
         ++attempt) {
        const DWORD error = GetLastError();
        if (error != ERROR_INTERNAL_ERROR || attempt == 3)
            throw std::runtime_error("can't start the program, error " + std::to_string(error));
        Sleep(100);
    }
    const optimizer::KernelHandle thread(information.hThread);
    m_process.Reset(information.hProcess);
    m_id = information.dwProcessId;
    m_input = std::move(input.write);
    m_output = std::move(output.read);
    output.write.Reset();
    m_reader = std::thread([this] { _Read(); });
}

ChildProcess::~ChildProcess() {
    Kill();
    m_reader.join();
}

void ChildProcess::_Read() {
    std::string line;
    char next = 0;
    DWORD read = 0;
    while (ReadFile(m_output.Get(), &next, 1, &read, nullptr) && read == 1) {
        if (next == '\r') continue;
        if (next != '\n') {
            line += next;
            continue;
        }
        const optimizer::CriticalSectionGuard guard(m_lock);
        m_lines.push_back(std::exchange(line, {}));
        SetEvent(m_news.Get());
    }
    const optimizer::CriticalSectionGuard guard(m_lock);
    m_ended = true;
    SetEvent(m_news.Get());
}

void ChildProcess::Send(const std::string& line) {
    const std::string text = line + "\n";
    DWORD written = 0;
    if (!WriteFile(m_input.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
        throw std::runtime_error("the program doesn't take its input");
    }
}

bool ChildProcess::WaitForLine(const std::string& start) {
    for (;;) {
        {
            const optimizer::CriticalSectionGuard guard(m_lock);
            while (m_seen < m_lines.size()) {
                if (m_lines[m_seen++].starts_with(start)) return true;
            }
            if (m_ended) return false;
        }
        if (WaitForSingleObject(m_news.Get(), kPatienceMs) != WAIT_OBJECT_0) return false;
    }
}

void ChildProcess::Kill() {
    TerminateProcess(m_process.Get(), 9);
    WaitForSingleObject(m_process.Get(), kPatienceMs);
}

DWORD ChildProcess::Finish() {
    m_input.Reset();
    if (WaitForSingleObject(m_process.Get(), kPatienceMs) != WAIT_OBJECT_0) return ~0U;
    while (!_HasEnded() && WaitForSingleObject(m_news.Get(), kPatienceMs) == WAIT_OBJECT_0) {
        // its last lines may still be on their way
    }
    DWORD exitCode = ~0U;
    GetExitCodeProcess(m_process.Get(), &exitCode);
    return exitCode;
}

bool ChildProcess::_HasEnded() {
    const optimizer::CriticalSectionGuard guard(m_lock);
    return m_ended;
}

std::vector<std::string> ChildProcess::Lines() {
    const optimizer::CriticalSectionGuard guard(m_lock);
    return m_lines;
}

ProgramRun RunProgram(const std::wstring& commandLine) {
    ChildProcess program(commandLine);
    ProgramRun run;
    run.exitCode = program.Finish();
    run.lines = program.Lines();
    return run;
}

}  // namespace rig
