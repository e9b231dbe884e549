#pragma once

#include "tools/rig/temporary_folder.h"

namespace test_support {

using rig::FileExists;
using rig::ReadFileText;
using rig::TemporaryFolder;
using rig::WriteFileText;

}  // namespace test_support
