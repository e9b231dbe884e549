#include "frame/users_library.h"

#include <utility>

namespace optimizer {

namespace {

constexpr const char* kExports[VxUsersLibrary::kSlotCount] = {
    nullptr,  // the library itself
    "GetCurrentUserInfoBasic",
    "GetCurrentUserInfoAdvanced",
    "GetAccountsInfoBasic",
    "GetUserInfoBasic",
    "GetCurrentUserName",
    "SrvGetAccountsInfoBasic",
    "SrvGetCurrentUserInfoBasic",
    "FreeVXUsersList",
    "FreeVXUsersNamesList",
    "SrvGetCurrentUserName",
    "GetUsersNamesList",
    "SrvGetUsersNamesList",
    "RemoveInteractiveUserRights",
    "SrvGetCurrentUserInfoAdvanced",
    "SrvImpersonateCurrentUser",
    "SrvImpersonateUser",
    "SrvRevertToSelf",
    "RetriveLocalUsersIconsToVXCache",  // as the library exports it
};

}  // namespace

VxUsersLibrary& VxUsersLibrary::Instance() {
    static VxUsersLibrary instance;
    return instance;
}

bool VxUsersLibrary::Bind() {
    WriteGuard guard(m_lock);
    ++m_bindings;
    // Let go last: the library stays loaded for lists that other threads have of it and still have to free.
    const Library held = std::move(m_library);
    _Clear();
    // Not along PATH or from the current folder, where anybody may have put one.
    m_library.Reset(LoadLibraryExW(L"vxusers.dll", nullptr, LOAD_LIBRARY_SEARCH_DEFAULT_DIRS));
    if (!m_library) return false;
    m_slots[0] = m_library.Get();
    bool complete = true;
    for (size_t slot = 1; slot < kSlotCount; ++slot) {
        m_slots[slot] = reinterpret_cast<void*>(GetProcAddress(m_library.Get(), kExports[slot]));
        complete = complete && m_slots[slot] != nullptr;
    }
    if (!complete) _Clear();
    return complete;
}

void VxUsersLibrary::Unbind() {
    WriteGuard guard(m_lock);
    if (m_bindings > 0) --m_bindings;
    if (m_bindings == 0) _Clear();
}

bool VxUsersLibrary::IsBound() {
    ReadGuard guard(m_lock);
    return m_slots[0] != nullptr;
}

void VxUsersLibrary::_Clear() {
    for (void*& slot : m_slots)
        slot = nullptr;
    m_library.Reset();
}

bool VxUsersLibrary::Fill(Slot slot, UserRecord& record) {
    record.name[0] = 0;
    record.domain[0] = 0;
    record.reserved1 = 0;
    record.reserved2 = 0;
    record.appData[0] = 0;
    return Call<UserRecordFunction>(slot, uint32_t{0}, &record) != 0;
}

std::wstring QualifiedName(const UserRecord& record) {
    const std::wstring name = record.name;
    return record.domain[0] != 0 ? std::wstring(record.domain) + L"\\" + name : name;
}

bool GetCurrentUserName(std::wstring& user) {
    user.clear();
    UserRecord record;
    if (!VxUsersLibrary::Instance().Fill(VxUsersLibrary::kSrvGetCurrentUserName, record)) return false;
    // Always with the back-slash, also without a domain: listeners compare this form.
    if (record.name[0] != 0) user = std::wstring(record.domain) + L"\\" + record.name;
    return true;
}

}  // namespace optimizer
