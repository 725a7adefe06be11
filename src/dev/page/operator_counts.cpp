#include "dev/page/operator_counts.h"

#include <algorithm>
#include <iterator>

#include "core/operators.h"
#include "core/parameters.h"

namespace quillet::dev {

namespace {

struct row {
  std::string_view name;
  parameter_counts counts;
};

constexpr std::size_t any = max_parameters;
constexpr bool refused = true;
constexpr bool ignored = false;
constexpr bool reads_last = true;

// The operators that take any number, as far as the registry is concerned. The first parameter of those that need
// none is always there, though it is empty.
constexpr row rows[] = {
    {"cache", {1, 2, ignored}},
    {"calendar", {3, 4, ignored}},
    {"case", {2, any, refused}},
    {"combine", {1, 2, ignored}},
    {"config", {1, 3, ignored, reads_last}},
    {"context", {1, 2, ignored}},
    {"cookie", {1, 3, ignored}},
    {"date", {1, 2, ignored}},
    {"download", {1, 3, ignored}},
    {"eq", {3, 4, refused}},
    {"eval", {1, 2, ignored}},
    {"exec", {1, 3, ignored}},
    {"find", {1, 2, ignored, reads_last}},
    {"for", {4, 5, ignored}},
    {"gif_template", {2, 3, ignored}},
    {"if", {2, 4, refused}},
    {"ifdef", {2, 3, refused}},
    {"include", {1, 2, ignored, reads_last}},
    {"index", {1, 2, refused}},
    {"item", {1, 2, ignored, reads_last}},
    {"load", {1, 2, ignored, reads_last}},
    {"loadtimestamp", {1, 1, ignored}},
    {"login", {1, 1, ignored}},
    {"match", {2, 4, refused}},
    {"menu", {1, 2, ignored}},
    {"message", {1, 1, ignored}},
    {"name", {1, 2, ignored}},
    {"optioncount", {1, 1, ignored}},
    {"query", {1, 1, ignored}},
    {"random", {1, 1, ignored}},
    {"save", {1, 2, ignored}},
    {"sql", {1, 3, ignored}},
    {"stat", {2, 5, ignored}},
    {"table", {2, 3, ignored}},
    {"upload", {2, 4, ignored}},
    {"uri", {1, 1, ignored}},
    {"user", {1, 1, ignored}},
    {"userlist", {1, 1, ignored}},
    {"validate", {1, 5, ignored}},
    {"var", {1, 3, ignored}},
};

}  // namespace

parameter_counts counts_of(std::string_view operator_name) {
  const operator_entry *const known = find_operator(operator_name);
  if (known != nullptr && known->parameter_count != 0) {
    const auto count = static_cast<std::size_t>(known->parameter_count);
    return {count, count, refused};
  }
  const row *const found =
      std::find_if(std::begin(rows), std::end(rows), [&](const row &each) { return each.name == operator_name; });
  return found == std::end(rows) ? parameter_counts{1, any, refused} : found->counts;
}

}  // namespace quillet::dev
