// The operators of a discussion board: hotline_cutmark_thread, hotline_quote.
#pragma once

namespace quillet {

void register_thread_operators();

}  // namespace quillet
