#pragma once

#include <cstdint>

#include <windows.h>

namespace rig {

/// A value of the user's part of the registry, of which only the first four bytes are looked at.
struct UserValue {
    const wchar_t* key;
    const wchar_t* name;

    /// 0 when there is no such value.
    uint32_t Read() const {
        uint32_t start[64] = {};
        DWORD sizeBytes = sizeof(start);
        RegGetValueW(HKEY_CURRENT_USER, key, name, RRF_RT_ANY, nullptr, start, &sizeBytes);
        return start[0];
    }
    void Write(uint32_t value, DWORD type) const {
        RegSetKeyValueW(HKEY_CURRENT_USER, key, name, type, &value, sizeof(value));
    }
    void Remove() const { RegDeleteKeyValueW(HKEY_CURRENT_USER, key, name); }
};

}  // namespace rig
