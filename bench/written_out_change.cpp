#include "bench/written_out_change.h"

#include <stdexcept>

#include <windows.h>

#include "frame/handles.h"
#include "frame/notes_check.h"
#include "settings/profile_names.h"

namespace bench {

namespace {

std::string ReadText(const std::wstring& path) {
    const optimizer::FileHandle file(CreateFileW(path.c_str(), GENERIC_READ,
                                                 FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                                 FILE_ATTRIBUTE_NORMAL, nullptr));
    LARGE_INTEGER size = {};
    if (!GetFileSizeEx(file.Get(), &size)) throw std::runtime_error("a settings file is missing");
    std::string text(static_cast<size_t>(size.QuadPart), '\0');
    DWORD read = 0;
    if (!ReadFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &read, nullptr) ||
        read != text.size()) {
        throw std::runtime_error("a settings file can't be read");
    }
    return text;
}

void WriteAt(HANDLE file, DWORD place, const std::string& text) {
    DWORD written = 0;
    SetFilePointer(file, static_cast<LONG>(place), nullptr, FILE_BEGIN);
    if (!WriteFile(file, text.data(), static_cast<DWORD>(text.size()), &written, nullptr)) {
        throw std::runtime_error("a settings file can't be written");
    }
}

/// In place: room for a longer text first, then the text, then the end of a shorter one.
void WriteText(const std::wstring& path, const std::string& text) {
    const optimizer::FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                                 OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    const DWORD oldSize = GetFileSize(file.Get(), nullptr);
    std::string covering = text;
    if (oldSize != 0 && text.size() > oldSize) {
        WriteAt(file.Get(), oldSize, std::string(text.size() - oldSize, ' '));
    }
    if (text.size() < oldSize) covering.resize(oldSize, ' ');
    WriteAt(file.Get(), 0, covering);
    if (text.size() < oldSize) {
        SetFilePointer(file.Get(), static_cast<LONG>(text.size()), nullptr, FILE_BEGIN);
        SetEndOfFile(file.Get());
    }
    if (!FlushFileBuffers(file.Get())) throw std::runtime_error("a settings file can't be flushed");
}

}  // namespace

picojson::value IdleActionNote() {
    return picojson::value(picojson::object{{"value", picojson::value(1.0)}});
}

std::string ShippedProfiles() {
    picojson::object actions;
    for (int i = 0; i < kIdleActions; ++i)
        actions["IdleAction" + std::to_string(10 + i)] = IdleActionNote();
    const picojson::value none{picojson::object{}};
    return picojson::value(picojson::object{{"SystemActions", picojson::value(picojson::array{})},
                                            {"Disabled", none},
                                            {"Work", none},
                                            {"Game", picojson::value(actions)},
                                            {"Movie", none},
                                            {"Battery", none}})
        .serialize();
}

void WrittenOutChange::Change(optimizer::profiles::profile wanted) {
    const bool back = wanted == optimizer::profiles::profile::Disabled;
    m_reads = m_parses = m_prints = m_writes = 0;
    m_activeProfile = optimizer::ProfileName(wanted);
    picojson::object choice = _ReadNotes(m_files.userList);
    choice["active_profile"] = picojson::value(m_activeProfile);
    _WriteNotes(m_files.userList, choice);

    // What ships with the profile, with the user's settings for it, by way of texts, as the stores hand them
    // to the engine.
    const picojson::value actions = _Parse(_Print(_Read(m_files.profiles).get(m_activeProfile)));
    _Parse(_Print(_Read(m_files.config).get(m_activeProfile)));
    for (const auto& [name, parameters] : actions.get<picojson::object>())
        _Print(parameters);
    // Going back, the notes that are left are looked for at the end.
    if (!back) _LookForNotes();
    for (int i = 0; i < kIdleActions; ++i)
        _ChangeNote("IdleAction" + std::to_string(10 + i), !back);
    if (back) _LookForNotes();
}

void WrittenOutChange::_LookForNotes() {
    _ReadNotes(m_files.systemList);
    _ReadNotes(m_files.userList);
}

void WrittenOutChange::_ChangeNote(const std::string& action, bool keep) {
    // The engine looks in both lists for a note to take out, and looks again whether one that it has made
    // still says all.
    if (!keep) _ReadNotes(m_files.systemList);
    picojson::object document = _ReadNotes(m_files.userList);
    picojson::object& list = document["Disabled"].get<picojson::object>();
    if (keep) {
        list[action] = IdleActionNote();
    } else {
        list.erase(action);
    }
    document["active_profile"] = picojson::value(m_activeProfile);
    document["user"] = picojson::value(m_files.account);
    _WriteNotes(m_files.userList, document);
    if (keep) _ReadNotes(m_files.userList);
}

picojson::object WrittenOutChange::_ReadNotes(const std::wstring& path) {
    // One that was damaged lies beside it then.
    if (GetFileAttributesW((path + L".damaged").c_str()) != INVALID_FILE_ATTRIBUTES) {
        throw std::runtime_error("notes were damaged");
    }
    picojson::object document = _Read(path).get<picojson::object>();
    if (!optimizer::NotesFitCheck(document)) throw std::runtime_error("the notes don't fit their check");
    return document;
}

/// The file and its copy.
void WrittenOutChange::_WriteNotes(const std::wstring& path, picojson::object document) {
    optimizer::StampNotes(document);
    const picojson::value value(document);
    _Write(path, value);
    _Write(path + L".copy", value);
}

picojson::value WrittenOutChange::_Read(const std::wstring& path) {
    ++m_reads;
    return _Parse(ReadText(path));
}

void WrittenOutChange::_Write(const std::wstring& path, const picojson::value& value) {
    ++m_writes;
    WriteText(path, _Print(value));
}

picojson::value WrittenOutChange::_Parse(const std::string& text) {
    ++m_parses;
    picojson::value value;
    const std::string error = picojson::parse(value, text);
    if (!error.empty()) throw std::runtime_error(error);
    return value;
}

std::string WrittenOutChange::_Print(const picojson::value& value) {
    ++m_prints;
    return value.serialize();
}

std::string WrittenOutChange::Counts() const {
    return std::to_string(m_reads) + " reads, " + std::to_string(m_parses) + " parses, " +
           std::to_string(m_prints) + " prints, " + std::to_string(m_writes) + " writes";
}

}  // namespace bench
