#include "processes/file_version_info.h"

#include <cstdint>
#include <cwchar>

#include <windows.h>

namespace optimizer {

namespace {

struct Translation {
    uint16_t language;
    uint16_t codePage;
};

constexpr Translation kNeutral = {0, 1200};  // no language, UTF-16
constexpr DWORD kMostBytes = 1024 * 1024;
constexpr const wchar_t* kProductName = L"ProductName";

/// What stands at a place of the resource; null when the place isn't there or holds less than `size`.
template <class T>
const T* Query(const std::vector<std::byte>& resource, const wchar_t* place, UINT size, UINT& found) {
    void* value = nullptr;
    found = 0;
    const bool has = !resource.empty() && VerQueryValueW(resource.data(), place, &value, &found);
    return has && found >= size ? static_cast<const T*>(value) : nullptr;
}

}  // namespace

bool CFileVersionInfo::Create(const std::wstring& path) {
    m_resource.clear();
    DWORD unused = 0;
    const DWORD sizeBytes = GetFileVersionInfoSizeW(path.c_str(), &unused);
    // The size is the file's word; no program's resource comes near that.
    if (sizeBytes == 0 || sizeBytes > kMostBytes) return false;
    m_resource.resize(sizeBytes);
    if (GetFileVersionInfoW(path.c_str(), 0, sizeBytes, m_resource.data())) return true;
    m_resource.clear();
    return false;
}

std::wstring CFileVersionInfo::GetProductName() const {
    UINT found = 0;
    const auto* const first =
        Query<Translation>(m_resource, L"\\VarFileInfo\\Translation", sizeof(Translation), found);
    std::wstring product;
    if (first != nullptr) product = _ReadText(first->language, first->codePage, kProductName);
    return product.empty() ? _ReadText(kNeutral.language, kNeutral.codePage, kProductName) : product;
}

std::wstring CFileVersionInfo::_ReadText(uint16_t language, uint16_t codePage, const wchar_t* name) const {
    wchar_t place[64] = {};
    _snwprintf(place, 63, L"\\StringFileInfo\\%04x%04x\\%s", language, codePage, name);
    UINT length = 0;
    const auto* const text = Query<wchar_t>(m_resource, place, 1, length);
    // The length counts the closing NUL, if there is one.
    return text != nullptr ? std::wstring(text, wcsnlen(text, length)) : std::wstring();
}

}  // namespace optimizer
