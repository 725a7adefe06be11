#include "table/prepared_item.h"

#include <optional>

#include "core/evaluator.h"
#include "core/quoting.h"
#include "table/registry.h"

namespace quillet {

namespace {

// Of ^item[column] and ^item[table;column] without markup in them. What number the column has is looked up once for all
// tables that number their columns alike: a page that prints 20,000 rows of 5 cells takes two thirds of the
// instructions.
class prepared_item : public prepared_call {
 public:
  explicit prepared_item(const parameters &call) : column_(call.last()) {
    if (call.count() > 1) table_name_ = call[0];
  }

  outcome make(text &out) override {
    table *const source = table_name_ ? find_table(*table_name_) : current_table();
    if (source == nullptr) return complete;
    if (source->numbering() != numbering_) {
      numbering_ = source->numbering();
      number_ = source->column_number(column_);
    }
    if (number_) {
      quote_padded(source->item(*number_), out);
    } else {
      quote(source->item(column_), true, out);
    }
    return complete;
  }

 private:
  std::optional<std::string_view> table_name_;  // none: the current table
  std::string_view column_;
  unsigned long numbering_ = 0;
  std::optional<int> number_;
};

}  // namespace

std::unique_ptr<prepared_call> prepare_item(const parameters &call, repeated_text &) {
  for (int i = 0; i < call.count(); ++i) {
    if (has_markup(call[i])) return nullptr;
  }
  if (call.count() > 1 && (call[0] == "prev" || call[0] == "next")) return nullptr;
  const std::string_view column = call.last();
  if (column == "current" || column == "number" || column == "count") return nullptr;
  return std::make_unique<prepared_item>(call);
}

}  // namespace quillet
