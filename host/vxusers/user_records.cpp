#include "vxusers/user_records.h"

#include <cwchar>
#include <iterator>
#include <memory>

namespace host {

namespace {

struct OwnedUserList : UserList {
    std::vector<UserRecord> records;
    std::vector<UserRecord*> pointers;
};

template <size_t Size>
bool Store(wchar_t (&field)[Size], const std::wstring& text) {
    const bool fits = text.size() < Size;
    const size_t length = fits ? text.copy(field, Size - 1) : 0;
    field[length] = 0;
    return fits;
}

template <size_t Size>
bool HasEnd(const wchar_t (&field)[Size]) {
    return wcsnlen(field, Size) < Size;
}

}  // namespace

void ClearRecord(UserRecord& record) {
    record.name[0] = 0;
    record.domain[0] = 0;
    record.reserved1 = 0;
    record.reserved2 = 0;
    record.appData[0] = 0;
}

uint32_t FillRecord(UserRecord& record, const UserName& user, const std::wstring& appData) {
    ClearRecord(record);
    if (!Store(record.name, user.name) || !Store(record.domain, user.domain)) {
        ClearRecord(record);
        return ERROR_BUFFER_OVERFLOW;
    }
    Store(record.appData, appData);
    return ERROR_SUCCESS;
}

uint32_t ReadRecord(const UserRecord& record, UserName& user) {
    if (!HasEnd(record.name) || !HasEnd(record.domain) || record.name[0] == 0) return ERROR_INVALID_PARAMETER;
    user = {record.name, record.domain};
    return ERROR_SUCCESS;
}

UserList* MakeUserList(const std::vector<UserName>& users) {
    auto list = std::make_unique<OwnedUserList>();
    list->records.reserve(users.size());
    for (const UserName& user : users) {
        UserRecord record = {};
        if (FillRecord(record, user, {}) == ERROR_SUCCESS) list->records.push_back(record);
    }
    for (UserRecord& record : list->records)
        list->pointers.push_back(&record);
    list->begin = list->pointers.data();
    list->end = list->begin + list->pointers.size();
    return list.release();
}

void FreeUserList(UserList* list) {
    const std::unique_ptr<OwnedUserList> owner(static_cast<OwnedUserList*>(list));
}

}  // namespace host
