// What the pure sources name of the system, for a build that isn't for Windows. Handles own nothing here.
// Characters are as wide as this system's, so that nothing may be compared with real Windows texts.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cwchar>

#define WINAPI
#define TRUE 1
#define FALSE 0
#define INFINITE 0xFFFFFFFFU
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(intptr_t{-1}))
#define _wcsicmp wcscasecmp

using BOOL = int;
using DWORD = uint32_t;
using UINT = uint32_t;
using HANDLE = void*;
using HKEY = void*;
using SC_HANDLE = void*;
using HMODULE = void*;
struct OVERLAPPED {
    HANDLE hEvent;
};

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_BROKEN_PIPE = 109;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_IO_PENDING = 997;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
inline constexpr int CSTR_EQUAL = 2;

DWORD GetLastError();
void SetLastError(DWORD error);
inline BOOL WINAPI CloseHandle(HANDLE) {
    return TRUE;
}
inline BOOL WINAPI RegCloseKey(HKEY) {
    return TRUE;
}
inline BOOL WINAPI CloseServiceHandle(SC_HANDLE) {
    return TRUE;
}
inline BOOL WINAPI FreeLibrary(HMODULE) {
    return TRUE;
}
inline void* WINAPI LocalFree(void*) {
    return nullptr;
}
inline void* GetProcAddress(HMODULE, const char*) {
    return nullptr;
}

int CompareStringOrdinal(const wchar_t* left, int leftLength, const wchar_t* right, int rightLength,
                         BOOL ignoreCase);

// A pipe of messages in memory; every read completes at once.
HANDLE CreateEventW(void*, BOOL, BOOL, const wchar_t*);
inline BOOL SetEvent(HANDLE) {
    return TRUE;
}
inline DWORD WaitForSingleObject(HANDLE, DWORD) {
    return WAIT_OBJECT_0;
}
DWORD WaitForMultipleObjects(DWORD, const HANDLE*, BOOL, DWORD);
inline BOOL CancelIoEx(HANDLE, OVERLAPPED*) {
    return TRUE;
}
BOOL ReadFile(HANDLE pipe, void* to, DWORD roomBytes, DWORD* read, OVERLAPPED* overlapped);
BOOL GetOverlappedResult(HANDLE pipe, OVERLAPPED* overlapped, DWORD* read, BOOL wait);
BOOL PeekNamedPipe(HANDLE pipe, void*, DWORD, DWORD*, DWORD*, DWORD* leftBytes);
