#include "tests/actions/simulated_system.h"

#include <windows.h>

#include <winternl.h>

extern "C" NTSTATUS NTAPI LdrGetProcedureAddress(HMODULE library, const ANSI_STRING* name, ULONG ordinal,
                                                 FARPROC* address);

namespace test_support {

SimulatedSystem g_system;

namespace {

BOOL WINAPI VerifyVersion(LPOSVERSIONINFOEXW, DWORD, DWORDLONG) {
    return g_system.isOlderThanVista ? FALSE : TRUE;
}

FARPROC WINAPI ExportOf(HMODULE library, LPCSTR name) {
    if (g_system.missingExport == name) return nullptr;
    ANSI_STRING text = {};
    RtlInitAnsiString(&text, name);
    FARPROC address = nullptr;
    return LdrGetProcedureAddress(library, &text, 0, &address) == 0 ? address : nullptr;
}

}  // namespace
}  // namespace test_support

extern "C" {
decltype(&VerifyVersionInfoW) __imp_VerifyVersionInfoW = &test_support::VerifyVersion;
decltype(&GetProcAddress) __imp_GetProcAddress = &test_support::ExportOf;
}
