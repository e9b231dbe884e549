// Who serves a pipe, for those who are about to talk to it or would serve it themselves.
#pragma once

#include <optional>
#include <string>

#include <windows.h>

namespace host {

/// The account that owns the pipe at whose client's end `pipe` is, as trust/accounts.h writes it; empty when
/// it can't be told. The end is open for READ_CONTROL.
///
/// The owner and not the process at the other end: the system lets an account make objects in no other
/// account's name, while a process may hand its end on and end, and its number be given to another.
std::wstring PipeOwner(HANDLE pipe);

/// Whether that owner may be talked to: SYSTEM, an administrator or the account of this process.
bool MayServe(const std::wstring& owner);

struct PipeHolder {
    std::wstring owner;  // empty when the pipe doesn't let this account ask
    DWORD process = 0;   // likewise 0; for people to find it, not to be trusted
};

/// Who serves the pipe of that path; nothing when nobody does. Takes one of its places for a moment.
std::optional<PipeHolder> FindPipeHolder(const std::wstring& path);

/// "process 12 (C:\...\x.exe) of PC\Ann", as far as it can be told.
std::wstring HolderText(const PipeHolder& holder);

}  // namespace host
