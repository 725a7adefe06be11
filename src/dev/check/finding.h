// What a check finds.
#pragma once

#include <string>
#include <string_view>
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

  // Sorted by file and place. Of equal findings, and of those that one rule has at one place, the first one stays.
  [[nodiscard]] std::vector<finding> take();

 private:
  std::vector<finding> findings_;
};

}  // namespace quillet::dev
