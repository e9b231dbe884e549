#include "processes/image_path.h"

#include <windows.h>

namespace optimizer {

namespace {

constexpr const wchar_t* kLongPathPrefix = L"\\\\?\\";

}  // namespace

bool IsOnLocalDrive(const std::wstring& path) {
    const std::wstring plain = path.starts_with(kLongPathPrefix) ? path.substr(4) : path;
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

}  // namespace optimizer
