#pragma once

#include <cstdint>
#include <string>

#include "frame/handles.h"

namespace host {

/// Keeps a settings folder for one engine at a time, since two would write the same notes and undo each
/// other's work. Whoever runs an engine takes it before and lets go of it after. One thread at a time.
///
/// It is the file "engine.lock" in the folder, which nobody else can open while it is held and which goes
/// with its handle, also when the holder is killed. A file and not a named mutex: who may hold it follows
/// from the folder's own access list, so that nobody else keeps the service from starting.
class SettingsLock {
public:
    /// Waits up to `patienceMs` for another holder to let go. 0; 32 (ERROR_SHARING_VIOLATION) when it
    /// doesn't; 1920 (ERROR_CANT_ACCESS_FILE) when what has the file's name can't be opened as the file, a
    /// folder for instance, so that nobody could tell who works there; or why the folder can't be written.
    [[nodiscard]] uint32_t Take(const std::wstring& folder, uint32_t patienceMs);
    void LetGo() { m_file.Reset(); }

    /// What to tell of 1920.
    static std::wstring InTheWay(const std::wstring& folder);

private:
    optimizer::FileHandle m_file;
};

}  // namespace host
