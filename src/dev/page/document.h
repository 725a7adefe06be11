// A file of a site in two forms: as it is, and what the program makes of it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "core/file.h"
#include "dev/page/call_tree.h"
#include "dev/page/source_file.h"

namespace quillet::dev {

enum class document_kind {
  page,      // asked for by visitors
  macros,    // only its definitions count
  included,  // evaluated as a whole, whatever its lines begin with
  data,      // rows of a table
};

// @name[first;second] and its body. Ranges are offsets in the document's text.
struct macro_block {
  text_range header;  // from the "@" to the end of its line
  text_range name;
  std::vector<text_range> parameters;  // their names, in their order; without brackets there are none
  template_text body;
};

class document {
 public:
  document(std::string path, std::string bytes, document_kind kind);
  document(const document &) = delete;
  document &operator=(const document &) = delete;

  [[nodiscard]] const source_file &source() const { return source_; }
  [[nodiscard]] const std::string &path() const { return source_.path(); }
  [[nodiscard]] document_kind kind() const { return kind_; }

  // What the program reads: without comment lines and carriage returns, of data also without empty lines, and
  // up to the first byte 0. All ranges of calls and macros are offsets in it.
  [[nodiscard]] std::string_view text() const { return text_; }
  [[nodiscard]] std::string_view text(text_range part) const { return text().substr(part.begin, part.size()); }
  // Where a byte of the text is in the file; the end of the text is after its last byte.
  [[nodiscard]] std::size_t source_offset(std::size_t offset) const;
  [[nodiscard]] text_range source_range(text_range part) const;
  [[nodiscard]] text_place place_of(std::size_t offset) const { return source_.place_of(source_offset(offset)); }

  // The definitions of a page or a macro file.
  [[nodiscard]] const std::vector<macro_block> &macros() const { return macros_; }
  // The text before the first definition, which is ignored; of a document without definitions nothing.
  [[nodiscard]] text_range before_macros() const { return before_macros_; }
  // What is evaluated: the bodies of the macros, or the text of a page without any and of an included file.
  [[nodiscard]] const std::vector<const template_text *> &templates() const { return templates_; }
  // The macro whose body that is, null for the text of the whole file.
  [[nodiscard]] const macro_block *macro_of(const template_text &body) const;

 private:
  void read_macros(const call_finder &calls);

  source_file source_;
  document_kind kind_;
  quillet::text bytes_;
  std::vector<kept_piece> pieces_;
  std::string_view text_;
  std::vector<macro_block> macros_;
  text_range before_macros_;
  template_text whole_;
  std::vector<const template_text *> templates_;
};

}  // namespace quillet::dev
