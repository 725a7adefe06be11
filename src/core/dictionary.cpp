#include "core/dictionary.h"

namespace quillet {

int compare_keys(const text &a, const text &b) {
  if (a.is_null() || b.is_null()) return static_cast<int>(b.is_null()) - static_cast<int>(a.is_null());
  return a.view().compare(b.view());
}

}  // namespace quillet
