// One page, run in this process with everything that a page can see or change set to its beginnings.
#pragma once

#include <string>
#include <string_view>

namespace quillet_tests {

// All that a page leaves behind.
struct page_result {
  std::string output;        // the page's text
  std::string header_lines;  // what operators sent at once
  std::string state;         // variables, macros, tables, calls that stay counted, quoting mode
  std::string files;         // the folder's files, for a page that can write any

  bool operator==(const page_result &) const = default;
};

// A folder with the files that pages look for, the working directory from then on; standard output goes to a
// file in memory. Once in a process, before the first page.
void enter_page_folder();

// Runs the page with prepared forms, or the plain way.
[[nodiscard]] page_result run_page(std::string_view page, bool prepared);

// What differs, for people; the results must not be the same.
[[nodiscard]] std::string describe_difference(const page_result &plain, const page_result &prepared);

// Leaves the folder and removes it.
void leave_page_folder();

}  // namespace quillet_tests
