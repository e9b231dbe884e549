#pragma once

#include <string>

namespace rig {

/// A new empty folder, removed with its files at the end.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    /// With the last back-slash.
    const std::wstring& Path() const { return m_path; }
    std::wstring File(const std::wstring& name) const { return m_path + name; }

private:
    std::wstring m_path;
};

/// Whole files, byte for byte. Reading a file that isn't there gives an empty text.
std::string ReadFileText(const std::wstring& path);
void WriteFileText(const std::wstring& path, const std::string& text);
bool FileExists(const std::wstring& path);

}  // namespace rig
