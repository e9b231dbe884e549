#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace optimizer {

/// Reads the version resource of a file.
class CFileVersionInfo {
public:
    /// False for a file that can't be read or has no version resource; there is no product name then.
    bool Create(const std::wstring& path);
    /// "ProductName" in the first of the resource's languages, else in the neutral one; else empty.
    std::wstring GetProductName() const;

private:
    std::wstring _ReadText(uint16_t language, uint16_t codePage, const wchar_t* name) const;

    std::vector<std::byte> m_resource;
};

}  // namespace optimizer
