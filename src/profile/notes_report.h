#pragma once

#include <string>
#include <vector>

#include "settings/inotes_store.h"

namespace optimizer {

/// What is noted, as INotesReport writes it, without the values: those are nobody's business but the
/// engine's. `folders` hold the files that give orders. Reads every restore file.
std::string NotesToJson(INotesStore& store, const std::vector<std::wstring>& folders);

}  // namespace optimizer
