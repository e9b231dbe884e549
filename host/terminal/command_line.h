// How every program of the product reads its command line.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "frame/text.h"

namespace host {

/// Parses the arguments without the program's name. Throws CLI::ParseError.
inline void ParseArguments(CLI::App& app, const std::vector<std::wstring>& arguments) {
    std::vector<std::string> reversed;  // as the parser wants them
    reversed.reserve(arguments.size());
    for (const std::wstring& argument : arguments)
        reversed.push_back(optimizer::Narrow(argument));
    std::reverse(reversed.begin(), reversed.end());
    app.parse(reversed);
}

}  // namespace host
