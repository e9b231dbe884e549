#include "frame/module_path.h"

#include <windows.h>

namespace optimizer {

namespace {

HMODULE ThisModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
                       reinterpret_cast<const wchar_t*>(&GetModuleFolder), &module);
    return module;
}

std::wstring FolderOf(HMODULE module) {
    constexpr size_t kLongestPath = 32768;
    std::wstring path(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
        if (length == 0) return {};
        if (length < path.size()) {
            path.resize(length);
            return path.substr(0, path.find_last_of(L'\\') + 1);
        }
        if (path.size() >= kLongestPath) return {};
        path.resize(path.size() * 2);
    }
}

}  // namespace

std::wstring GetModuleFolder() {
    return FolderOf(ThisModule());
}

std::wstring GetProgramFolder() {
    return FolderOf(nullptr);
}

}  // namespace optimizer
