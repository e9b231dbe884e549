#pragma once

#include <map>
#include <string>

namespace killmatrix {

/// All of a machine that profiles change: what can be told of each thing, by its name. "VisualFXSetting"
/// isn't in it, for that mode stays custom by design.
using Picture = std::map<std::string, std::string>;

/// One "name=text" a line, in the order of the names.
std::string ToText(const Picture& picture);
/// Throws std::runtime_error for a line that has no "=".
Picture ParsePicture(const std::string& text);

}  // namespace killmatrix
