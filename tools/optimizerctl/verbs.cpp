#include "tools/optimizerctl/verbs.h"

#include <utility>

#include <CLI/CLI.hpp>

namespace ctl {

CLI::App* Verbs::Add(CLI::App& parent, const std::string& name, const std::string& description,
                     const std::string& example, Action action) {
    CLI::App* const verb = parent.add_subcommand(name, description);
    verb->footer("Example:\n  optimizerctl " + example +
                 "\n\nThe options --json, --quiet, --in-process and --timeout SECONDS go with every verb.");
    m_verbs.push_back({verb, std::move(action)});
    return verb;
}

const Verbs::Action* Verbs::Find(const CLI::App& app) const {
    for (const Verb& verb : m_verbs) {
        if (verb.app == &app) return &verb.action;
    }
    return nullptr;
}

}  // namespace ctl
