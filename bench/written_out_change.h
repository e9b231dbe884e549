#pragma once

#include <string>
#include <utility>

#include <picojson.h>

#include "border/optimizer.h"

namespace bench {

inline constexpr int kIdleActions = 12;

/// What an idle action notes as the state to return to.
picojson::value IdleActionNote();

/// The text of a profiles.json whose "Game" has the idle actions.
std::string ShippedProfiles();

/// The reads, parses, prints and writes of one change of profile, in the order in which the engine does them,
/// with nothing around them: no threads, no locks, no actions, no traces, no wide texts.
class WrittenOutChange {
public:
    struct Files {
        std::wstring profiles;
        std::wstring systemList;
        std::wstring userList;
        std::wstring config;
        std::string account;  // of the user whose list it is
    };

    explicit WrittenOutChange(Files files) : m_files(std::move(files)) {}

    /// "Game" notes the idle actions one by one, "Disabled" takes their notes out again.
    void Change(optimizer::profiles::profile wanted);
    /// What the last change took.
    std::string Counts() const;

private:
    picojson::value _Read(const std::wstring& path);
    void _Write(const std::wstring& path, const picojson::value& value);
    picojson::value _Parse(const std::string& text);
    std::string _Print(const picojson::value& value);
    picojson::object _ReadNotes(const std::wstring& path);
    void _WriteNotes(const std::wstring& path, picojson::object document);
    void _LookForNotes();
    void _ChangeNote(const std::string& action, bool keep);

    const Files m_files;
    std::string m_activeProfile;
    int m_reads = 0;
    int m_parses = 0;
    int m_prints = 0;
    int m_writes = 0;
};

}  // namespace bench
