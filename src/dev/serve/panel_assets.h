// What the panel's pages are made of besides HTML.
#pragma once

#include <string_view>

namespace quillet::dev {

extern const std::string_view look_css;   // of all pages that serve makes itself
extern const std::string_view panel_js;   // the button on pages; reloads, too
extern const std::string_view reload_js;  // reloads alone

}  // namespace quillet::dev
