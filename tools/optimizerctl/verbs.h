#pragma once

#include <functional>
#include <string>
#include <vector>

#include "tools/optimizerctl/context.h"
#include "tools/optimizerctl/exit_codes.h"

namespace ctl {

/// The verbs of all nouns. A noun has a file pair of its own with a function that adds it to the program;
/// that function stands in one row of cli.cpp.
class Verbs {
public:
    /// Carries the verb out. Throws Failure.
    using Action = std::function<ExitCode(Context&)>;

    /// Adds a verb to its noun, or to the program itself. The positional arguments PROFILE and ACTION are
    /// completed in shells by these names.
    CLI::App* Add(CLI::App& parent, const std::string& name, const std::string& description,
                  const std::string& example, Action action);

    /// Null for an app that is no verb.
    const Action* Find(const CLI::App& app) const;

private:
    struct Verb {
        const CLI::App* app;
        Action action;
    };

    std::vector<Verb> m_verbs;
};

}  // namespace ctl
