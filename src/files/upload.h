// The operators upload and unlink.
#pragma once

namespace quillet {

void register_upload_operators();

}  // namespace quillet
