#include "bench/written_out_change.h"

#include <stdexcept>

#include <windows.h>

#include "frame/handles.h"
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

void WriteText(const std::wstring& path, const std::string& text) {
    const optimizer::FileHandle file(CreateFileW(path.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                                                 CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr));
    DWORD written = 0;
    if (!WriteFile(file.Get(), text.data(), static_cast<DWORD>(text.size()), &written, nullptr) ||
        !FlushFileBuffers(file.Get())) {
        throw std::runtime_error("a settings file can't be written");
    }
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
    picojson::value document = _Read(m_files.userList);
    document.get<picojson::object>()["active_profile"] = picojson::value(m_activeProfile);
    _Write(m_files.userList, document);

    // The machine's list and the user's, each with the user's settings for the profile.
    picojson::value actions;
    for (const std::wstring& list : {m_files.systemList, m_files.userList}) {
        actions = _ReadPart(back ? list : m_files.profiles, m_activeProfile);
        if (!back) _ReadPart(m_files.config, m_activeProfile);
    }
    for (const auto& [name, parameters] : actions.get<picojson::object>())
        _Print(parameters);
    for (const auto& [name, parameters] : actions.get<picojson::object>()) {
        // The engine looks in both lists for a note to take out.
        if (back) _ReadPart(m_files.systemList, "Disabled");
        _ChangeNote(name, !back);
    }
}

/// What is under a key of a file, by way of a text, as the stores hand it to the engine.
picojson::value WrittenOutChange::_ReadPart(const std::wstring& path, const std::string& key) {
    return _Parse(_Print(_Read(path).get(key)));
}

void WrittenOutChange::_ChangeNote(const std::string& action, bool keep) {
    picojson::value list = _ReadPart(m_files.userList, "Disabled");
    if (keep) {
        list.get<picojson::object>()[action] = IdleActionNote();
    } else {
        list.get<picojson::object>().erase(action);
    }
    list = _Parse(_Print(list));
    picojson::value document = _Read(m_files.userList);
    document.get<picojson::object>()["Disabled"] = list;
    document.get<picojson::object>()["active_profile"] = picojson::value(m_activeProfile);
    _Write(m_files.userList, document);
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
