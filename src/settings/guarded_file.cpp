#include "settings/guarded_file.h"

#include <utility>

#include <windows.h>

#include "frame/notes_check.h"
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

/// In the place of what was set aside there before: the older one helps nobody any more.
bool MoveAside(const std::wstring& path, const wchar_t* suffix) {
    TRACE_SCOPE("GuardedFile::MoveAside");
    const std::wstring target = path + suffix;
    if (MoveFileExW(path.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING)) return true;
    const DWORD error = GetLastError();
    if (error != ERROR_FILE_NOT_FOUND) {
        TRACE_LINE(trace::kError, L"%s can't be kept as %s: 0x%x", path.c_str(), target.c_str(), error);
    }
    return false;
}

}  // namespace

GuardedFile::GuardedFile(std::wstring path) : m_path(std::move(path)), m_copyPath(m_path + kCopySuffix) {}

bool GuardedFile::IsDamaged() const {
    return GetFileAttributesW((m_path + kDamagedSuffix).c_str()) != INVALID_FILE_ATTRIBUTES;
}

GuardedState GuardedFile::Read(picojson::object& document) const {
    TRACE_SCOPE("GuardedFile::Read");
    document.clear();
    const JsonFileState file = ReadSound(m_path, document);
    if (file == JsonFileState::Ok) return GuardedState::Ok;
    const JsonFileState copy = ReadSound(m_copyPath, document);
    if (copy == JsonFileState::Ok) {
        // A file that is only held may be sound; what its copy holds is good in any case.
        if (file != JsonFileState::Unreadable) _Recover(file == JsonFileState::Broken, document);
        return GuardedState::Ok;
    }
    const bool isHeld = file == JsonFileState::Unreadable || copy == JsonFileState::Unreadable;
    if (isHeld) return GuardedState::Unreadable;
    const bool isBroken = file == JsonFileState::Broken || copy == JsonFileState::Broken;
    // An empty file without a copy is one that was made and never written.
    if (!isBroken) return file == JsonFileState::Absent ? GuardedState::None : GuardedState::Ok;
    _SetAside();
    return GuardedState::Damaged;
}

/// Puts the copy's document in the file's place. The reader has it even where that fails.
bool GuardedFile::_Recover(bool keepBad, picojson::object& document) const {
    TRACE_SCOPE("GuardedFile::_Recover");
    if (keepBad) static_cast<void>(MoveAside(m_path, kBadSuffix));
    const bool replaced = WriteJsonFile(m_path, picojson::value(document)) == 0;
    TRACE_LINE(trace::kError, L"%s was damaged; its last good copy %s", m_path.c_str(),
               replaced ? L"has taken its place" : L"is used, but can't take its place");
    return replaced;
}

/// The copy first: as long as the file has its name, a kill in between leaves both to be found damaged again.
void GuardedFile::_SetAside() const {
    TRACE_SCOPE("GuardedFile::_SetAside");
    static_cast<void>(MoveAside(m_copyPath, kDamagedSuffix));
    if (!MoveAside(m_path, kDamagedSuffix)) {
        // Only the copy was there: its loss has to be found under the file's name.
        static_cast<void>(MoveFileExW((m_copyPath + kDamagedSuffix).c_str(),
                                      (m_path + kDamagedSuffix).c_str(), MOVEFILE_REPLACE_EXISTING));
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
    if (const uint32_t copyError = WriteJsonFile(m_copyPath, value); copyError != ERROR_SUCCESS) {
        TRACE_LINE(trace::kWarning, L"%s has no copy of what it holds now: 0x%x", m_path.c_str(), copyError);
    }
    return ERROR_SUCCESS;
}

}  // namespace optimizer
