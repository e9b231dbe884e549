#include "settings/guarded_file.h"

#include <set>
#include <utility>

#include <windows.h>

#include "frame/notes_check.h"
#include "frame/slim_lock.h"
#include "frame/trace.h"
#include "settings/json_file.h"

namespace optimizer {

namespace {

constexpr const wchar_t* kBadSuffix = L".bad";

/// As ReadJsonFile, and broken also when it is no object or a changed byte made other values of its notes.
JsonFileState ReadSound(const std::wstring& path, picojson::object& document) {
    TRACE_SCOPE("GuardedFile::ReadSound");
    picojson::value value;
    const JsonFileState state = ReadJsonFile(path, value);
    if (state != JsonFileState::Ok) return state;
    if (!value.is<picojson::object>() || !NotesFitCheck(value.get<picojson::object>())) {
        TRACE_LINE(trace::kError, L"%s: its notes are not the ones that were written", path.c_str());
        return JsonFileState::Broken;
    }
    document = std::move(value.get<picojson::object>());
    return JsonFileState::Ok;
}

bool Exists(const std::wstring& path) {
    return GetFileAttributesW(path.c_str()) != INVALID_FILE_ATTRIBUTES;
}

void Move(const std::wstring& path, const std::wstring& target, DWORD flags) {
    TRACE_SCOPE("GuardedFile::Move");
    if (MoveFileExW(path.c_str(), target.c_str(), flags)) return;
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_NOT_FOUND) {
        TRACE_LINE(trace::kError, L"%s can't be kept as %s: 0x%x", path.c_str(), target.c_str(), error);
    }
}

/// Beside what was kept there before: that may hold the only notes.
void KeepDamaged(const std::wstring& path, const std::wstring& name) {
    constexpr int kMost = 100;
    std::wstring target = name;
    for (int number = 2; Exists(target) && number < kMost; ++number)
        target = name + L"." + std::to_wstring(number);
    Move(path, target, 0);
}

/// The files whose copies this process has looked at.
bool IsFirstLook(const std::wstring& path) {
    static CSlimLock s_lock;
    static std::set<std::wstring> s_seen GUARDED_BY(s_lock);
    const LockGuard guard(s_lock);
    return s_seen.insert(path).second;
}

}  // namespace

GuardedFile::GuardedFile(std::wstring path) : m_path(std::move(path)), m_copyPath(m_path + kCopySuffix) {}

bool GuardedFile::IsDamaged() const {
    return Exists(m_path + kDamagedSuffix);
}

GuardedState GuardedFile::Read(picojson::object& document) const {
    TRACE_SCOPE("GuardedFile::Read");
    document.clear();
    const JsonFileState file = ReadSound(m_path, document);
    if (file == JsonFileState::Ok) {
        if (IsFirstLook(m_path)) _RefreshCopy(document);
        return GuardedState::Ok;
    }
    const JsonFileState copy = ReadSound(m_copyPath, document);
    if (copy == JsonFileState::Ok) {
        // A file that is only held may be sound; what its copy holds is good in any case.
        if (file != JsonFileState::Unreadable) _Recover(file == JsonFileState::Broken, document);
        return GuardedState::Ok;
    }
    const bool isHeld = file == JsonFileState::Unreadable || copy == JsonFileState::Unreadable;
    if (isHeld) return GuardedState::Unreadable;
    // A copy is made when its file is whole: one that is there and empty has lost what it held. An empty file
    // without a copy is one that was made and never written.
    const bool isBroken = file == JsonFileState::Broken || copy != JsonFileState::Absent;
    if (!isBroken) return file == JsonFileState::Absent ? GuardedState::None : GuardedState::Ok;
    _SetAside(file == JsonFileState::Broken);
    return GuardedState::Damaged;
}

/// A kill between the file's write and its copy's leaves the copy one note behind, and so does an older
/// version that made no copies: harmless once, but not for good.
void GuardedFile::_RefreshCopy(const picojson::object& document) const {
    TRACE_SCOPE("GuardedFile::_RefreshCopy");
    picojson::object copy;
    if (ReadSound(m_copyPath, copy) == JsonFileState::Ok && copy == document) return;
    static_cast<void>(_WriteCopy(picojson::value(document)));
}

uint32_t GuardedFile::_WriteCopy(const picojson::value& document) const {
    TRACE_SCOPE("GuardedFile::_WriteCopy");
    const uint32_t error = WriteJsonFile(m_copyPath, document);
    if (error == ERROR_SUCCESS) return ERROR_SUCCESS;
    TRACE_LINE(trace::kWarning, L"%s has no copy of what it holds now: 0x%x", m_path.c_str(), error);
    // A copy that isn't trusted isn't read either, and may hold what a person wants to see.
    if (error == kErrorNotTrusted) return error;
    const bool isGone = DeleteFileW(m_copyPath.c_str()) || GetLastError() == ERROR_FILE_NOT_FOUND;
    return isGone ? uint32_t{ERROR_SUCCESS} : error;
}

/// Puts the copy's document in the file's place. The reader has it even where that fails.
void GuardedFile::_Recover(bool keepBad, picojson::object& document) const {
    TRACE_SCOPE("GuardedFile::_Recover");
    if (keepBad) Move(m_path, m_path + kBadSuffix, MOVEFILE_REPLACE_EXISTING);
    const bool replaced = WriteJsonFile(m_path, picojson::value(document)) == 0;
    TRACE_LINE(trace::kError, L"%s was damaged; its last good copy %s", m_path.c_str(),
               replaced ? L"has taken its place" : L"is used, but can't take its place");
}

/// What is behind the file's own name with ".damaged" is the mark, and comes last or at once: a kill before
/// it leaves the damage to be found again.
void GuardedFile::_SetAside(bool fileIsBroken) const {
    TRACE_SCOPE("GuardedFile::_SetAside");
    if (fileIsBroken) {
        KeepDamaged(m_copyPath, m_copyPath + kDamagedSuffix);
        KeepDamaged(m_path, m_path + kDamagedSuffix);
    } else {
        KeepDamaged(m_copyPath, m_path + kDamagedSuffix);
    }
    TRACE_LINE(trace::kError,
               L"%s and its copy are damaged and kept with \".damaged\" behind their names: nothing is noted "
               L"there until they are mended or deleted",
               m_path.c_str());
}

uint32_t GuardedFile::Write(picojson::object document) const {
    TRACE_SCOPE("GuardedFile::Write");
    StampNotes(document);
    const picojson::value value(std::move(document));
    const uint32_t error = WriteJsonFile(m_path, value);
    if (error != ERROR_SUCCESS) return error;
    return _WriteCopy(value);
}

}  // namespace optimizer
