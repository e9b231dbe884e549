#pragma once

#include <picojson.h>

#include "tools/optimizerctl/boot_figures.h"

namespace ctl {

/// What of the sorted processes is shown: the share of each is of the total of `share`.
struct TableView {
    Cost share = Cost::Cpu;
    size_t most = SIZE_MAX;  // rows
};

/// The processes in lines that line up, with the totals of all of them, shown or not.
std::wstring ImpactText(const BootFigures& figures, const TableView& view);
picojson::object ImpactDocument(const BootFigures& figures, const TableView& view);

}  // namespace ctl
