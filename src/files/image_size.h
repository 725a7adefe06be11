// The operators imgsize, jpegsize, gifsize.
#pragma once

namespace quillet {

void register_image_size_operators();

}  // namespace quillet
