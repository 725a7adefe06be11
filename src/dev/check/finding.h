// What a check finds.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "dev/page/document.h"

namespace quillet::dev {

enum class severity { error, warning };

// Replaces bytes of a file.
struct text_edit {
  text_range range;  // in the file's bytes; empty to insert
  std::string replacement;
};

// A repair that an editor offers.
struct quick_fix {
  std::string title;  // "Change to form"
  std::vector<text_edit> edits;
};

struct finding {
  std::string path;
  text_range range;  // in the file's bytes
  text_place place;  // of its beginning
  text_place end;
  severity level;
  std::string_view rule;
  std::string message;
  std::vector<quick_fix> fixes;
};

// Where rules put what they find.
class finding_list {
 public:
  // A part of the document's text.
  void add(std::string_view rule, const document &file, text_range part, std::string message,
           std::vector<quick_fix> fixes = {});
  // A part of the file's bytes.
  void add_in_source(std::string_view rule, const source_file &file, text_range part, std::string message,
                     std::vector<quick_fix> fixes = {});
  // Whether that rule has found something in the file so far.
  [[nodiscard]] bool has(std::string_view rule, const std::string &path) const;

  // Whether it has found something in a part of the document's text.
  [[nodiscard]] bool has_within(std::string_view rule, const document &file, text_range part) const;

  // Whether a finding of the rule says that, in whatever file.
  [[nodiscard]] bool says(std::string_view rule, std::string_view part_of_message) const;
  // True the first time that this is asked for the rule and the file: what a page's rule looks at in a file that many
  // pages use needs only one look.
  [[nodiscard]] bool is_first_look(std::string_view rule, const document &file);

  // Sorted by file and place. Of those that one rule has at one place the first one stays; where a bracket is
  // missing, no other rule is heard.
  [[nodiscard]] std::vector<finding> take();

 private:
  std::vector<finding> findings_;
  std::set<std::pair<std::string_view, const document *>> looks_;
};

}  // namespace quillet::dev
