#include "tests/frame/imports.h"

#include <cstring>
#include <cwchar>

#include <mmsystem.h>
#include <winternl.h>

extern "C" NTSTATUS NTAPI LdrGetProcedureAddress(HMODULE library, ANSI_STRING* name, ULONG ordinal,
                                                 void** address);

namespace frame_test {

Imports g_imports;

namespace {

FARPROC WINAPI FindExport(HMODULE library, LPCSTR name) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    if (g_imports.missingExport != nullptr && std::strcmp(name, g_imports.missingExport) == 0) return nullptr;
    ANSI_STRING text;
    RtlInitAnsiString(&text, name);
    void* address = nullptr;
    if (LdrGetProcedureAddress(library, &text, 0, &address) != 0) return nullptr;
    return reinterpret_cast<FARPROC>(address);
}

HMODULE WINAPI Load(LPCWSTR path) {
    if (g_imports.missingLibrary == nullptr || std::wcsstr(path, g_imports.missingLibrary) == nullptr) {
        return LoadLibraryExW(path, nullptr, 0);
    }
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
}

DWORD WINAPI Time() {
    return g_imports.timeMs;
}

}  // namespace
}  // namespace frame_test

extern "C" {
decltype(&GetProcAddress) __imp_GetProcAddress = &frame_test::FindExport;
decltype(&LoadLibraryW) __imp_LoadLibraryW = &frame_test::Load;
decltype(&timeGetTime) __imp_timeGetTime = &frame_test::Time;
}
