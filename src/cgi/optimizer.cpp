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
// one stood before it. No byte of the set is above the space, and few other bytes are below it: where no two such
// bytes meet, which is most of a page, nothing else is asked.
template <char... set>
void shrink_runs(text &page, bool previous) {
  static_assert((is_up_to_space(set) && ...));
  char *const bytes = page.data();
  const std::size_t size = page.size();
  char *kept = bytes;
  std::size_t start = 0;  // of the bytes that are kept but not yet moved
  const auto move_up_to = [&](std::size_t end) {
    if (kept != bytes + start) std::memmove(kept, bytes + start, end - start);
    kept += end - start;
  };
  const auto follows_one = [&, at_front = previous](std::size_t at) {
    return at == 0 ? at_front : is_one_of<set...>(bytes[at - 1]);
  };
  std::size_t i = 0;
  for (std::uint32_t before = previous; i + 2 * block_size <= size; i += 2 * block_size) {
    const byte_block first = load_block(bytes + i);
    const byte_block second = load_block(bytes + i + block_size);
    const std::uint32_t low = mask_up_to_space(first) | mask_up_to_space(second) << block_size;
    const std::uint32_t may_meet = low & (low << 1 | before);
    before = low >> (2 * block_size - 1);
    if (may_meet == 0) continue;
    const std::uint32_t in_set = mask_in<set...>(first) | mask_in<set...>(second) << block_size;
    std::uint32_t redundant = in_set & (in_set << 1 | std::uint32_t{follows_one(i)});
    for (; redundant != 0; redundant &= redundant - 1) {
      const std::size_t at = i + static_cast<std::size_t>(std::countr_zero(redundant));
      move_up_to(at);
      start = at + 1;
    }
  }
  previous = follows_one(i);
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
