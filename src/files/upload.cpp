#include "cgi/charset.h"
#include "cgi/file_names.h"
#include "cgi/form.h"
#include "cgi/log.h"
#include "core/file.h"
#include "core/operators.h"
#include "files/attachment.h"

namespace quillet {

namespace {

void report_upload(std::string_view field, std::string_view destination, std::string_view reason, text &out) {
  report_error({"upload field '", field, "' to '", destination, "' failed: ", reason}, out);
}

// --- what there is to know about a file ---

// Browsers of some systems send the whole path.
void append_name(const form_entry &file, const parameters &, text &out) {
  const std::string_view name = file.file_name;
  out.append(name.substr(name.rfind('\\') + 1));  // none gives 0
}

void append_size(const form_entry &file, const parameters &, text &out) {
  out.append(format_unsigned(file.value.size()));
}

void append_value(const form_entry &file, const parameters &, text &out) { out.append(until_nul(file.value)); }

void append_block(const form_entry &file, const parameters &parameters, text &out) {
  append_attachment(file.value, parameters.count() > 2 ? parameters[2] : unnamed_file, out);
}

struct question {
  std::string_view what;
  void (*append_answer)(const form_entry &file, const parameters &parameters, text &out);
};

constexpr question questions[] = {
    {"name", append_name},
    {"size", append_size},
    {"value", append_value},
    {"uuencode", append_block},
};

// Turns the part of `out` after `start` into text of the given charset: recodes it from the charset
// of the pages and normalizes its line breaks.
void make_text(int charset, std::size_t start, text &out) {
  const text answer(out.view().substr(start));
  out.truncate(start);
  append_normalised(answer, out);
  recode(out.data() + start, out.size() - start, output_charset(), charset);
}

// --- storing ---

void store(const form_entry &file, std::string_view field, std::string_view name, text &out) {
  text path;
  if (!name.empty()) {
    path = resolve_file(name);
    make_directories(path);
  }
  const text failure = write_text_file(path, file.value, false);
  if (!failure.is_null()) report_upload(field, path, failure, out);
}

// Appends what the operator gives, not yet recoded.
void answer_upload(const parameters &parameters, text &out) {
  constexpr std::string_view no_file = "(no file)";
  const std::string_view field = parameters[0];
  const std::optional<form_entry> file = find_form_entry(field);
  if (!file) return report_upload(field, no_file, "no such field", out);
  if (!file->is_file()) {
    return report_upload(field, no_file, "field is not of file type/wrong method/enctype", out);
  }
  for (const question &asked : questions) {
    if (asked.what == parameters[1]) return asked.append_answer(*file, parameters, out);
  }
  store(*file, field, parameters[1], out);
}

// ^upload[field;file]
// ^upload[field;name]
// ^upload[field;size]
// ^upload[field;value]
// ^upload[field;uuencode;name]
// ^upload[...;text]
// ^upload[...;sql]
//
// Stores the file that a visitor sent in a form field, creating missing directories; no text. Or says
// about it: its name on the visitor's computer, its size in bytes, its bytes up to the first NUL, or the
// file as an attachment of a mail message, "noname.dat" when no name is given. With `text` as the last
// parameter the result, be it a message, is recoded from the page's charset to that of the files, with `sql`
// to that of the database, KOI8-R, and its line breaks become line feeds; the error log has the message as it was.
//
// [upload field 'field' to '(no file)' failed: no such field]
// [upload field 'field' to '(no file)' failed: field is not of file type/wrong method/enctype]
// [upload field 'field' to '' failed: no filename specified]
// [upload field 'field' to 'path' failed: the system's description(#error number)]
void op_upload(parameters &parameters, text &out) {
  const std::size_t start = out.size();
  answer_upload(parameters, out);
  if (parameters.last() == "text") make_text(source_charset(), start, out);
  if (parameters.last() == "sql") make_text(charset_koi8_r, start, out);
}

constexpr operator_definition definitions[] = {
    {"upload", op_upload, 0, evaluated,
     "^upload[field;file] ^upload[field;name] ^upload[field;size] ^upload[field;value] ^upload[field;uuencode;name] "
     "^upload[...;text] ^upload[...;sql]",
     "Stores the file that a visitor sent, or describes it."},
};

}  // namespace

extern const operator_module upload_operators{"files/upload.cpp", definitions};

}  // namespace quillet
