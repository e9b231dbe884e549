#include "tools/rig/temporary_folder.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <windows.h>

namespace rig {

TemporaryFolder::TemporaryFolder() {
    static std::atomic<int> s_next = 0;
    const std::wstring name = L"optimizeral_" + std::to_wstring(GetCurrentProcessId()) + L"_" +
                              std::to_wstring(GetTickCount64()) + L"_" + std::to_wstring(s_next++);
    const std::filesystem::path folder = std::filesystem::temp_directory_path() / name;
    if (!std::filesystem::create_directory(folder)) throw std::runtime_error("no temporary folder");
    m_path = folder.wstring() + L"\\";
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string ReadFileText(const std::wstring& path) {
    std::ifstream file(std::filesystem::path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void WriteFileText(const std::wstring& path, const std::string& text) {
    std::ofstream file(std::filesystem::path(path), std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush()) throw std::runtime_error("can't write a test file");
}

bool FileExists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

}  // namespace rig
