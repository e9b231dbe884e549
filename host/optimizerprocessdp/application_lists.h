#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include <picojson.h>

#include "border/optimizer.h"

namespace host {

/// An application by its image name, such as "game.exe", and the product name in its version resource. An
/// empty product stands for any. Upper and lower case are the same in both.
struct Application {
    std::wstring name;
    std::wstring product;

    bool IsSameAs(const Application& other) const;
    bool Covers(const std::wstring& processName, const std::wstring& processProduct) const;
};

using Applications = std::vector<Application>;

/// The profiles that have a list of applications.
inline constexpr std::array kListedProfiles = {optimizer::profiles::profile::Work,
                                               optimizer::profiles::profile::Game,
                                               optimizer::profiles::profile::Movie};

/// Which applications belong to which profile.
class ApplicationLists {
public:
    using profile = optimizer::profiles::profile;

    /// Null for a profile that has no list.
    Applications* Of(profile which);
    const Applications* Of(profile which) const;

    /// In JSON an object with a key for each of the profiles, each an array of objects with the keys "name"
    /// and "product"; a missing profile has an empty list, a missing product stands for any. What is wrong
    /// with a document goes to `problem`, as the end of a sentence that begins with the file.
    static std::optional<ApplicationLists> FromJson(const picojson::value& document, std::wstring& problem);
    picojson::value ToJson() const;

private:
    std::array<Applications, kListedProfiles.size()> m_lists;
};

/// Whether a list has an entry for the process.
bool Includes(const Applications& applications, const std::wstring& name, const std::wstring& product);

/// Whether the name is one that a process can have: neither empty nor a path.
bool IsImageName(const std::wstring& name);

/// False when it is there already.
bool AddApplication(Applications& applications, const Application& added);
/// False when it isn't there.
bool RemoveApplication(Applications& applications, const Application& removed);

/// Entries of `from` that `to` lacks.
Applications EntriesMissingIn(const Applications& to, const Applications& from);

}  // namespace host
