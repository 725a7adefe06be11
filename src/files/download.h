// The operator download.
#pragma once

namespace quillet {

void register_download_operator();

}  // namespace quillet
