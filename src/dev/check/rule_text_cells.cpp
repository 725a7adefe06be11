// text-cells: rows whose cells are not what the table's header says.
#include <algorithm>
#include <string>
#include <vector>

#include "dev/check/rules.h"
#include "dev/page/literal.h"

namespace quillet::dev {

page_rule check_data_cells;
file_rule check_config_cells;

namespace {

std::size_t cells_in(std::string_view row) {
  return static_cast<std::size_t>(std::count(row.begin(), row.end(), '\t')) + 1;
}

// Two blanks or more after a word, where a tab was meant; its place in the row, or npos.
std::size_t wide_blank(std::string_view row) {
  const std::size_t start = row.find_first_not_of(' ');
  const std::size_t end = row.find_last_not_of(' ');
  if (start == std::string_view::npos) return std::string_view::npos;
  const std::size_t blanks = row.find("  ", start);
  return blanks < end ? blanks : std::string_view::npos;
}

std::string number_of(std::size_t cells) { return std::to_string(cells) + (cells == 1 ? " cell" : " cells"); }

// A table of rows, from a data file or from `config`.
class row_check {
 public:
  row_check(const document &file, finding_list &found) : file_(file), found_(found) {}

  // The rows that lie in this part of the text; the first one names the columns.
  void check(text_range part) {
    std::size_t wanted = 0;
    std::string_view rest = file_.text(part);
    while (rest.data() != nullptr && !rest.empty()) {
      const std::string_view row = next_token(rest, '\n');
      if (row.empty()) continue;
      if (wanted == 0) {
        wanted = cells_in(row);
        if (wanted == 1 && report_blanks(row)) return;
      } else if (cells_in(row) != wanted && !(wanted > cells_in(row) && report_blanks(row))) {
        report_number(row, wanted);
      }
    }
  }

 private:
  bool report_blanks(std::string_view row) {
    const std::size_t blanks = wide_blank(row);
    if (blanks == std::string_view::npos) return false;
    const std::size_t begin = static_cast<std::size_t>(row.data() - file_.text().data()) + blanks;
    std::size_t end = begin;
    while (file_.text()[end] == ' ') ++end;
    const text_range range = file_.source_range({begin, end});
    found_.add("text-cells", file_, {begin, end}, "blanks do not separate cells; put a tab here",
               {{"Replace by a tab", {{range, "\t"}}}});
    return true;
  }

  void report_number(std::string_view row, std::size_t wanted) {
    const auto begin = static_cast<std::size_t>(row.data() - file_.text().data());
    found_.add("text-cells", file_, {begin, begin + row.size()},
               "this row has " + number_of(cells_in(row)) + ", the header names " + std::to_string(wanted));
  }

  const document &file_;
  finding_list &found_;
};

bool has_call(const template_text &part) { return !part.calls.empty(); }

}  // namespace

// Only data files that a page loads with names for their columns say how many cells a row has.
void check_data_cells(const page_files &page, const checked_site &in, finding_list &found) {
  for (const document *file : page.evaluated()) {
    for (const file_reference &each : in.files.references(*file)) {
      if (each.operator_name != "load" || !each.name || each.where->parameters.size() < 2) continue;
      const document *const data = in.files.find_data(*page.page, *each.name);
      if (data != nullptr && found.is_first_look("text-cells", *data))
        row_check(*data, found).check({0, data->text().size()});
    }
  }
}

void check_config_cells(const document &file, const checked_site & /*in*/, finding_list &found) {
  for (const template_text *body : file.templates()) {
    for_each_call(file.text(), *body, [&](const call &each, auto) {
      if (!is_call_of(file, each, "config") || each.parameters.size() != 2) return;
      if (literal_parameter(file, each, 0) != "named" || has_call(each.parameters[1])) return;
      if (!file.macros().empty() && file.text(each.parameters[1].range).find('$') != std::string_view::npos) return;
      row_check(file, found).check(each.parameters[1].range);
    });
  }
}

}  // namespace quillet::dev
