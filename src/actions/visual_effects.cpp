#include "actions/visual_effects.h"

#include <windows.h>

namespace optimizer {

namespace {

constexpr VisualEffect kEffects[] = {
    {"minimize_animations", SPI_GETANIMATION, SPI_SETANIMATION},
    {"animations_inside_windows", SPI_GETCLIENTAREAANIMATION, SPI_SETCLIENTAREAANIMATION},
    {"slide_animations_combobox", SPI_GETCOMBOBOXANIMATION, SPI_SETCOMBOBOXANIMATION},
    {"shadows_under_cursor", SPI_GETCURSORSHADOW, SPI_SETCURSORSHADOW},
    {"smooth_scroll_listboxes", SPI_GETLISTBOXSMOOTHSCROLLING, SPI_SETLISTBOXSMOOTHSCROLLING},
    {"slide_animations_menus", SPI_GETMENUANIMATION, SPI_SETMENUANIMATION},
    {"fade_out_after_clicking", SPI_GETSELECTIONFADE, SPI_SETSELECTIONFADE},
    {"tool_tip_animations", SPI_GETTOOLTIPANIMATION, SPI_SETTOOLTIPANIMATION},
    {"tool_tips_slide", SPI_GETTOOLTIPFADE, SPI_SETTOOLTIPFADE},
    {"aero", SPI_GETUIEFFECTS, SPI_SETUIEFFECTS},
    {"shadows_under_windows", SPI_GETDROPSHADOW, SPI_SETDROPSHADOW},
    {"smooth_edge_fonts", SPI_GETFONTSMOOTHING, SPI_SETFONTSMOOTHING},
    {"flat_menus", SPI_GETFLATMENU, SPI_SETFLATMENU},
    // The blank is part of the key; settings that are out there have it.
    {"fade_ menus", SPI_GETMENUFADE, SPI_SETMENUFADE},
    {"gradient_captions", SPI_GETGRADIENTCAPTIONS, SPI_SETGRADIENTCAPTIONS},
    {"hot_trackings", SPI_GETHOTTRACKING, SPI_SETHOTTRACKING},
};

}  // namespace

const VisualEffect* FindVisualEffect(const std::string& key) {
    for (const VisualEffect& effect : kEffects) {
        if (key == effect.key) return &effect;
    }
    return nullptr;
}

}  // namespace optimizer
