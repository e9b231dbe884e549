#pragma once

#include <string>

#include <picojson.h>

namespace ctl {

/// A profile's config from the text of a person: an object of action names, each an object with the boolean
/// "active". Throws a Failure with one line for each mistake.
picojson::object ParseConfig(const std::string& text);

/// The config with one action switched on or off; all else stays.
picojson::object WithAction(picojson::object config, const std::string& action, bool active);

}  // namespace ctl
