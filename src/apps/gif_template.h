// Pictures made from template GIFs: `gif_template`.
#pragma once

namespace quillet {

void register_gif_template_operators();

}  // namespace quillet
