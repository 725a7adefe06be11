#include "cgi/optimizer.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "cgi/request.h"
#include "core/operators.h"
#include "core/scan.h"

namespace quillet {

namespace {

bool optimize = true;

void forget_choice() { optimize = true; }

// Drops every byte of the set that follows another one; `previous` says whether the text begins as if
// one stood before it.
template <char... set>
void shrink_runs(text &page, bool previous) {
  char *const bytes = page.data();
  const std::size_t size = page.size();
  char *kept = bytes;
  std::size_t start = 0;  // of the bytes that are kept but not yet moved
  const auto move_up_to = [&](std::size_t end) {
    if (kept != bytes + start) std::memmove(kept, bytes + start, end - start);
    kept += end - start;
  };
  std::size_t i = 0;
  for (; i + block_size <= size; i += block_size) {
    const std::uint32_t in_set = block_mask<set...>(bytes + i);
    std::uint32_t redundant = in_set & (in_set << 1 | std::uint32_t{previous});
    previous = (in_set >> (block_size - 1) & 1) != 0;
    for (; redundant != 0; redundant &= redundant - 1) {
      const std::size_t at = i + static_cast<std::size_t>(std::countr_zero(redundant));
      move_up_to(at);
      start = at + 1;
    }
  }
  for (; i < size; ++i) {
    const bool current = is_one_of<set...>(bytes[i]);
    if (current && previous) {
      move_up_to(i);
      start = i + 1;
    }
    previous = current;
  }
  move_up_to(size);
  page.truncate(static_cast<std::size_t>(kept - bytes));
}

// ^optimize[no]
//
// `no` switches the optimizer off, anything else on. The last call in the run decides. Result: empty.
void op_optimize(parameters &parameters, text &) { optimize = parameters[0] != "no"; }

constexpr operator_definition definitions[] = {
    {"optimize", op_optimize, 1, evaluated, "^optimize[no]", "Switches the removal of white space off or on."},
};

}  // namespace

void optimize_output(text &page) {
  if (!optimize) return;
  if (request.content_type_set) {
    // Deliberate: of a carriage return and line feed only the carriage return stays.
    shrink_runs<'\n', '\r'>(page, true);
  } else {
    // Deliberate: white space at the very front shrinks to one byte and does not go.
    shrink_runs<' ', '\n', '\r', '\t'>(page, false);
  }
}

extern const operator_module optimizer_operators{"cgi/optimizer.cpp", definitions, forget_choice};

}  // namespace quillet
