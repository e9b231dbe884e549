#include "frame/whole_file.h"

#include <cstddef>
#include <utility>
#include <vector>

#include "frame/handles.h"

namespace optimizer {

namespace {

/// Who may read the file that is replaced; nothing when there is none.
std::vector<std::byte> AccessOf(const std::wstring& path) {
    DWORD sizeBytes = 0;
    GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION, nullptr, 0, &sizeBytes);
    std::vector<std::byte> descriptor(sizeBytes);
    const bool isTold = sizeBytes != 0 && GetFileSecurityW(path.c_str(), DACL_SECURITY_INFORMATION,
                                                           descriptor.data(), sizeBytes, &sizeBytes);
    return isTold ? std::move(descriptor) : std::vector<std::byte>();
}

DWORD Write(const std::wstring& path, const std::string& content, std::vector<std::byte> access) {
    SECURITY_ATTRIBUTES security = {sizeof(security), access.data(), FALSE};
    const FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, access.empty() ? nullptr : &security,
                                      CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    const bool succeeded =
        file &&
        WriteFile(file.Get(), content.data(), static_cast<DWORD>(content.size()), &written, nullptr) &&
        FlushFileBuffers(file.Get());
    if (!succeeded) return GetLastError();
    // A full disk may take a part and call it a success; the old file is worth more than that.
    return written == content.size() ? ERROR_SUCCESS : ERROR_DISK_FULL;
}

}  // namespace

uint32_t WriteWholeFile(const std::wstring& path, const std::string& content) {
    const std::wstring fresh = path + L".new";
    DWORD error = Write(fresh, content, AccessOf(path));
    if (error == ERROR_SUCCESS &&
        !MoveFileExW(fresh.c_str(), path.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
        error = GetLastError();
    }
    if (error != ERROR_SUCCESS) DeleteFileW(fresh.c_str());
    return error;
}

}  // namespace optimizer
