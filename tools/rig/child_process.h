#pragma once

#include <string>
#include <thread>
#include <vector>

#include "frame/critical_section.h"
#include "frame/handles.h"

namespace rig {

/// A program with its input and output in the test's hands. Ended at the latest with this object.
class ChildProcess {
public:
    /// `commandLine` begins with the program's full path in quotes.
    explicit ChildProcess(const std::wstring& commandLine);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    void Send(const std::string& line);
    /// Waits for a line of output, standard error included, that begins with `start`, behind the ones that
    /// earlier calls found. False when none comes within 20 seconds.
    bool WaitForLine(const std::string& start);
    /// Ends the process at once, as a crash would.
    void Kill();
    /// Closes the input and waits for the end; the exit code, or ~0 when it doesn't come.
    DWORD Finish();
    std::vector<std::string> Lines();
    DWORD Id() const { return m_id; }

private:
    void _Read();
    bool _HasEnded();

    optimizer::KernelHandle m_process;
    DWORD m_id = 0;
    optimizer::FileHandle m_input;
    optimizer::FileHandle m_output;
    optimizer::CCriticalSection m_lock;
    optimizer::KernelHandle m_news;  // signalled for each new line
    std::vector<std::string> m_lines GUARDED_BY(m_lock);
    bool m_ended GUARDED_BY(m_lock) = false;
    size_t m_seen = 0;
    std::thread m_reader;
};

/// How a program ended that was given nothing to read.
struct ProgramRun {
    DWORD exitCode = 0;
    std::vector<std::string> lines;
};
ProgramRun RunProgram(const std::wstring& commandLine);

}  // namespace rig
