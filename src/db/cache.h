// Results kept in files: cache.
#pragma once

namespace quillet {

void register_cache_operator();

}  // namespace quillet
