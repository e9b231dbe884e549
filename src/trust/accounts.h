// Accounts by the texts of their security identifiers, such as "S-1-5-18".
#pragma once

#include <string>

#include <windows.h>

namespace optimizer {

/// Empty on failure, and for null.
std::wstring SidText(PSID sid);

/// The account that this process runs as, whoever its thread acts for; empty on failure.
std::wstring OwnAccount();
/// The account behind a token; empty on failure.
std::wstring AccountOf(HANDLE token);
/// Whether this process runs as SYSTEM, so that whoever gives it orders gets that account's rights.
bool RunsAsSystem();

/// SYSTEM, the group of administrators, the machine's built-in administrator and the system's installer: who
/// can do everything here without any help.
bool IsAdministrative(const std::wstring& account);

/// "DOMAIN\name", or the identifier where the system knows no name.
std::wstring AccountName(const std::wstring& account);

}  // namespace optimizer
