// Fuzzes regular expressions: how their cost is weighed, and how they match. The first line of an input is the
// expression, the rest is the text.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "core/regular_expression.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using namespace quillet;
  const std::string input(until_nul({reinterpret_cast<const char *>(data), size}));
  const std::size_t line = std::min(input.find('\n'), input.size());
  const std::string subject = input.substr(std::min(line + 1, input.size()));
  const regular_expression expression(input.substr(0, line), 0);
  if (expression.error() != 0) return 0;
  std::vector<regmatch_t> pieces(expression.group_count() + 1);
  match_search search(expression, subject);
  for (std::size_t offset = 0; offset <= subject.size() && search.find(offset, pieces) == 0;) {
    for (const regmatch_t &piece : pieces) {
      const bool has_part = piece.rm_so >= 0;
      if (has_part != (piece.rm_eo >= 0) || piece.rm_eo < piece.rm_so ||
          (has_part && offset + static_cast<std::size_t>(piece.rm_eo) > subject.size())) {
        std::abort();
      }
    }
    offset += static_cast<std::size_t>(std::max<regoff_t>(pieces[0].rm_eo, 1));
  }
  return 0;
}
