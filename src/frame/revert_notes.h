#pragma once

#include <map>
#include <set>
#include <string>

#include <picojson.h>

namespace optimizer {

/// What there is to return to, as one restore file holds it.
struct RevertNotes {
    /// Leaves out what isn't of its type.
    static RevertNotes FromDocument(const picojson::object& document);
    /// Replaces the notes of the document. The list of values is written in any case, the others where there
    /// are any.
    void ToDocument(picojson::object& document) const;

    bool Contains(const std::string& action) const {
        return values.contains(action) || inForce.contains(action);
    }
    void Erase(const std::string& action);
    bool operator==(const RevertNotes&) const = default;

    std::map<std::string, picojson::value> values;  // by action, as its parameters serialise them
    std::set<std::string> inForce;                  // actions to be reverted that have no values
    std::map<std::string, std::string> owners;  // by action: the user, "DOMAIN\name", whose values they are
};

}  // namespace optimizer
