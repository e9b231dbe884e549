#pragma once

#include <cstddef>
#include <string>

#include "border/users_library.h"
#include "frame/handles.h"
#include "frame/sync_rw_lock.h"

namespace optimizer {

/// The functions of vxusers.dll, bound by name: all 18 of them or none. Process-wide. Each call goes through
/// Call, which holds the table's lock for reading, so that the library can't go away under it.
class VxUsersLibrary {
public:
    /// The table's slots; slot 0 is the library.
    enum Slot : size_t {
        kGetCurrentUserInfoBasic = 1,
        kGetCurrentUserInfoAdvanced,
        kGetAccountsInfoBasic,
        kGetUserInfoBasic,
        kGetCurrentUserName,
        kSrvGetAccountsInfoBasic,
        kSrvGetCurrentUserInfoBasic,
        kFreeVXUsersList,
        kFreeVXUsersNamesList,
        kSrvGetCurrentUserName,
        kGetUsersNamesList,
        kSrvGetUsersNamesList,
        kRemoveInteractiveUserRights,
        kSrvGetCurrentUserInfoAdvanced,
        kSrvImpersonateCurrentUser,
        kSrvImpersonateUser,
        kSrvRevertToSelf,
        kRetriveLocalUsersIconsToVXCache,
        kSlotCount,
    };

    static VxUsersLibrary& Instance();

    /// Binds afresh, whoever holds the table already. False when the library or one of the 18 functions is
    /// missing: the table is empty then. Each call needs an Unbind, also one that failed.
    bool Bind();
    /// Only the last one empties the table: a component that ends, or whose Init failed, must not take it
    /// from those that still put the users' settings back.
    void Unbind();
    bool IsBound();

    /// Calls the function of a slot with the table's lock held for reading. A null slot gives `fallback`.
    template <class Function, class Result, class... Arguments>
    Result Call(Slot slot, Result fallback, Arguments... arguments) {
        ReadGuard guard(m_lock);
        auto* const function = reinterpret_cast<Function*>(m_slots[slot]);
        return function != nullptr ? static_cast<Result>(function(arguments...)) : fallback;
    }

    /// Calls one of the functions that give nothing back; does nothing for a null slot.
    template <class Function, class... Arguments>
    void CallVoid(Slot slot, Arguments... arguments) {
        ReadGuard guard(m_lock);
        auto* const function = reinterpret_cast<Function*>(m_slots[slot]);
        if (function != nullptr) function(arguments...);
    }

    /// Fills a record through one of the functions that take one; false for a null slot or a failed call.
    /// Only the first character of each text and the two reserved fields are cleared before the call.
    bool Fill(Slot slot, UserRecord& record);

private:
    VxUsersLibrary() = default;
    void _Clear() REQUIRES(m_lock);

    CSyncRWLock m_lock;
    uint32_t m_bindings GUARDED_BY(m_lock) = 0;
    Library m_library GUARDED_BY(m_lock);
    void* m_slots[kSlotCount] GUARDED_BY(m_lock) = {};
};

/// The interactive user's name from a record: domain, back-slash, name; the bare name without a domain.
std::wstring QualifiedName(const UserRecord& record);

/// The interactive user as "DOMAIN\name" for events; false and empty when the library can't tell.
bool GetCurrentUserName(std::wstring& user);

}  // namespace optimizer
