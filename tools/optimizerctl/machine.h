#pragma once

#include "tools/optimizerctl/surroundings.h"

namespace ctl {

class Machine final : public IMachine {
public:
    ServiceState QueryService() override;
    std::wstring SettingsFolder() override;
    std::wstring Name() override;
};

}  // namespace ctl
