// What the system says of the session's visual effects, from a process that has not asked before: a process
// may keep what it once read. Each argument is an effect's key, which prints its value, or "key=value", which
// sets it as a hand would. Without an argument it only wakes the desktop.
#include <iostream>
#include <string>

#include <windows.h>

#include "actions/visual_effects.h"

namespace {

int Read(uint32_t get) {
    ANIMATIONINFO info = {sizeof(info), 0};
    int value = 0;
    const bool isRecord = get == SPI_GETANIMATION;
    SystemParametersInfoW(get, isRecord ? sizeof(info) : 0, isRecord ? static_cast<void*>(&info) : &value, 0);
    return isRecord ? info.iMinAnimate : value;
}

}  // namespace

int main(int count, char** arguments) {
    if (count == 1) GetDesktopWindow();
    for (int i = 1; i < count; ++i) {
        const std::string argument = arguments[i];
        const size_t equals = argument.find('=');
        const optimizer::VisualEffect* const effect = optimizer::FindVisualEffect(argument.substr(0, equals));
        if (effect == nullptr) return 1;
        if (equals != std::string::npos) {
            // NOLINTNEXTLINE(performance-no-int-to-ptr): the value travels in the pointer's place
            auto* const value = reinterpret_cast<void*>(std::stoll(argument.substr(equals + 1)));
            if (!SystemParametersInfoW(effect->set, 0, value, SPIF_UPDATEINIFILE)) return 1;
        }
        std::cout << Read(effect->get) << std::endl;
    }
    return 0;
}
