#pragma once

#include <cstdint>
#include <string>

#include <picojson.h>

namespace optimizer {

/// How a restore file was found.
enum class GuardedState {
    Ok,          // sound, or made good from its copy
    None,        // there is none, nor a copy
    Unreadable,  // somebody holds it, and there is no copy to go by
    Damaged,     // neither it nor its copy can be used
};

/// A restore file and the last good copy of it, which lies beside it with ".copy" behind its name. The file
/// is written in place, its copy after it: at any moment one of the two is whole. One thread at a time for a
/// file; whoever owns the object holds the lock that sees to it.
///
/// A file that isn't sound is kept with ".bad" behind its name and replaced by its copy. When both are of no
/// use they are kept with ".damaged" behind their names, for a person to mend or to delete; as long as there
/// is one behind the file's own name, nothing can be noted in it, since what there is to return to isn't
/// known.
class GuardedFile {
public:
    explicit GuardedFile(std::wstring path);

    /// `document` is an empty object where there is nothing to read.
    GuardedState Read(picojson::object& document) const;
    /// Has the document on disk at the return, and its copy; a copy that can't be written is removed, since
    /// an older one would be taken for the last. 0, or the system's error.
    [[nodiscard]] uint32_t Write(picojson::object document) const;
    /// Whether what was noted was lost to damage and nobody has seen to it yet.
    bool IsDamaged() const;

private:
    uint32_t _WriteCopy(const picojson::value& document) const;
    void _Recover(bool keepBad, picojson::object& document) const;
    void _SetAside(bool fileIsBroken) const;
    void _RefreshCopy(const picojson::object& document) const;

    const std::wstring m_path;
    const std::wstring m_copyPath;
};

}  // namespace optimizer
