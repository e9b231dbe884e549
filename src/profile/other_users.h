#pragma once

#include "profile/action_lists.h"
#include "profile/run_report.h"
#include "settings/inotes_store.h"

namespace optimizer {

/// Puts back what is noted for users who aren't at the console, when the program goes and none of them will
/// ever come back to it. What takes a user's own session stays noted and is told.
class OtherUsers {
public:
    OtherUsers(INotesStore& store, ActionLists& lists, RunReport& report)
        : m_store(store), m_lists(lists), m_report(report) {}

    /// Blocks for as long as the ways back take. Notes of the user at the console that are still there are
    /// left alone: that way back has been tried.
    void PutBack();

private:
    void _PutBack(const std::wstring& key, const std::string& name, const RevertNotes& notes);
    uint32_t _ActAs(const std::wstring& account, IOptimizerAction& action);

    INotesStore& m_store;
    ActionLists& m_lists;
    RunReport& m_report;
};

}  // namespace optimizer
