#pragma once

#include <cstdint>
#include <string>

#include "frame/handles.h"

namespace host {

/// A text file that grows by whole lines up to a size, then takes the name "....1" and makes room for a new
/// one. Opened, with the folders above it, by the first line. When that fails nothing is written, and it is
/// tried again some seconds later. One thread at a time; Append blocks for one write. Append throws
/// std::bad_alloc.
class CLogFile {
public:
    /// Closes the file; the next line opens the new one.
    void SetPath(const std::wstring& path);
    /// 0: no limit.
    void SetMaxSize(uint64_t sizeBytes) { m_maxSizeBytes = sizeBytes; }
    /// Whether a file that is there when it is opened is put aside first.
    void SetStartAfresh(bool startAfresh) { m_startAfresh = startAfresh; }
    void Close();

    /// Writes the line at once. 0 or the system's error.
    [[nodiscard]] uint32_t Append(const std::string& line);

private:
    uint32_t _Open();
    uint32_t _OpenHandle();
    void _Empty();
    void _PutAside();

    std::wstring m_path;
    uint64_t m_maxSizeBytes = 0;
    bool m_startAfresh = false;
    uint64_t m_sizeBytes = 0;
    ULONGLONG m_nextAttemptMs = 0;  // tick count before which a file that can't be opened is left alone
    optimizer::FileHandle m_file;
};

}  // namespace host
