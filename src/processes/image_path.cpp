#include "processes/image_path.h"

#include <utility>

#include <windows.h>

#include <winternl.h>

namespace optimizer {

namespace {

constexpr NTSTATUS kHeldUp = 0x108;  // STATUS_OPLOCK_BREAK_IN_PROGRESS
constexpr const wchar_t* kLongPathPrefix = L"\\\\?\\";

std::wstring Plain(const std::wstring& path) {
    return path.starts_with(kLongPathPrefix) ? path.substr(4) : path;
}

}  // namespace

bool IsOnLocalDrive(const std::wstring& path) {
    const std::wstring plain = Plain(path);
    if (plain.size() < 3 || plain[1] != L':' || plain[2] != L'\\') return false;
    switch (GetDriveTypeW(plain.substr(0, 3).c_str())) {
        case DRIVE_FIXED:
        case DRIVE_REMOVABLE:
        case DRIVE_CDROM:
        case DRIVE_RAMDISK:
            return true;
        default:
            return false;
    }
}

/// CreateFileW has no word for it: the owner of an opportunistic lock decides how long that waits.
FileHandle OpenWithoutWaiting(const std::wstring& path) {
    std::wstring name = L"\\??\\" + Plain(path);
    if (name.size() > UNICODE_STRING_MAX_CHARS) return {};
    UNICODE_STRING text = {};
    text.Buffer = name.data();
    text.Length = text.MaximumLength = static_cast<USHORT>(name.size() * sizeof(wchar_t));
    OBJECT_ATTRIBUTES attributes = {};
    InitializeObjectAttributes(&attributes, &text, OBJ_CASE_INSENSITIVE, nullptr, nullptr);
    IO_STATUS_BLOCK io = {};
    HANDLE opened = INVALID_HANDLE_VALUE;
    const NTSTATUS status = NtCreateFile(
        &opened, FILE_READ_DATA | SYNCHRONIZE, &attributes, &io, nullptr, 0,
        FILE_SHARE_READ | FILE_SHARE_DELETE, FILE_OPEN,
        FILE_NON_DIRECTORY_FILE | FILE_SYNCHRONOUS_IO_NONALERT | FILE_COMPLETE_IF_OPLOCKED, nullptr, 0);
    if (status < 0) return {};
    FileHandle file(opened);
    return status != kHeldUp ? std::move(file) : FileHandle();
}

}  // namespace optimizer
