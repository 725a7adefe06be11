#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

#include "cgi/file_names.h"
#include "cgi/log.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "core/operators.h"
#include "core/regular_expression.h"
#include "table/registry.h"

namespace quillet {

namespace {

bool is_readable(const text &path) { return access(path.c_str(), R_OK) == 0; }

// ^name[path]
// ^name[path;level]
//
// The last component of the path without its extension; with `level` 1 the one before it, and so on.
// "index" when that is nothing, or when there are not so many components.
void op_name(parameters &parameters, text &out) {
  std::string_view head = parameters[0];
  std::string_view component;
  for (int level = std::max(parse_int(parameters[1]), 0); level >= 0; --level) {
    component = head;
    const std::string_view after = cut_at_last_char(head, '/');
    if (after.data() != nullptr) {
      component = after;
    } else if (level > 0) {
      component = {};
      break;
    }
  }
  cut_at_last_char(component, '.');
  // Deliberate: where there is no component, the result is "index".
  out.append(component.empty() ? "index" : component);
}

// ^-f[file]
//
// The name of the file as it is given, when the file can be read; otherwise no text.
void op_readable(parameters &parameters, text &out) {
  if (is_readable(resolve_file(parameters[0]))) out.append(parameters[0]);
}

// A size for people to read, in bytes, kilobytes or megabytes.
void append_size(long long size, const parameters &parameters, text &out) {
  char number[32];
  int suffix = 2;
  if (size < 512) {
    std::snprintf(number, sizeof number, "%lld", size);
  } else if (size < 512 * 1024) {
    // Deliberate: 512 bytes already show as kilobytes, 0.5.
    std::snprintf(number, sizeof number, "%.1f", static_cast<double>(size) / 1024);
    suffix = 3;
  } else {
    std::snprintf(number, sizeof number, "%.1f", static_cast<double>(size) / (1024 * 1024));
    suffix = 4;
  }
  out.append(number);
  out.append(parameters[suffix]);
}

// ^stat[what;file]
// ^stat[fsize;file;byte suffix;kilobyte suffix;megabyte suffix]
//
// `what`: "atime", "mtime" or "ctime", a time of the file in seconds since 1970; "size", its size in
// bytes; "fsize", its size for people to read, with the suffix of its unit; anything else gives "0". A
// missing file gives no text.
void op_stat(parameters &parameters, text &out) {
  struct stat status {};
  if (stat(resolve_file(parameters[1]).c_str(), &status) != 0) return;
  const std::string_view what = parameters[0];
  if (what == "fsize") return append_size(status.st_size, parameters, out);
  long long number = 0;
  if (what == "atime") number = status.st_atime;
  if (what == "mtime") number = status.st_mtime;
  if (what == "ctime") number = status.st_ctime;
  if (what == "size") number = status.st_size;
  out.append(format_signed(number));
}

// ^find[file;default]
//
// Looks for the file in the directory of the page and in each one above it, up to the root. The first
// place where it can be read, as a path relative to the page: the name with as many "../" before it
// as the search went up. Otherwise the last parameter, evaluated.
void op_find(parameters &parameters, text &out) {
  const expansion name = evaluate(parameters[0]);
  std::string_view directory = request.page_path;
  for (int ups = 0; cut_at_last_char(directory, '/').data() != nullptr; ++ups) {
    text candidate(directory);
    candidate.append('/');
    candidate.append(name);
    if (!is_readable(candidate)) continue;
    for (; ups > 0; --ups) out.append("../");
    return out.append(name);
  }
  if (parameters.count() > 1) return evaluate(parameters.last(), out);
  out.append(name);
}

// ^include[file]
// ^include[asis;file]
//
// The text of the file, evaluated; with "asis" unchanged. As in a page, lines that begin with "#" and
// carriage returns are left out. A missing file gives no text.
void op_include(parameters &parameters, text &out) {
  const file_text content = view_text_file(resolve_file(parameters.last()), false);
  if (parameters.count() == 2 && parameters[0] == "asis") return out.append(content);
  evaluate(content, out);
}

// The names in a directory that the pattern matches, all of them without one. Names that begin with
// "." are left out. Gives 0, or the error that matching ended with.
int read_names(std::string_view directory, const regular_expression *pattern, std::vector<text> &names) {
  directory_reader reader;
  for (bool at_end = open_directory(directory, reader); !at_end; at_end = next_entry(reader)) {
    if (reader.name.is_empty() || reader.name.view().front() == '.') continue;
    regmatch_t whole;
    const int result = pattern == nullptr ? 0 : pattern->match(reader.name, {&whole, 1});
    if (result == 0) names.push_back(copy_text(reader.name));
    if (result != 0 && result != REG_NOMATCH) return result;
  }
  return 0;
}

// By the number at the front of the names, then by their bytes: "2" comes before "10", "a" before "b".
void sort_names(std::vector<text> &names) {
  std::sort(names.begin(), names.end(), [](const text &a, const text &b) {
    const int left = parse_int(a);
    const int right = parse_int(b);
    return left != right ? left < right : a.view() < b.view();
  });
}

// ^index[directory]
// ^index[directory;pattern]
//
// Makes the names in the directory, or those that match the regular expression, the current table: a row
// for each, sorted by the number at its front, then by its bytes. Names that begin with "." are left
// out. A missing directory gives a table without rows. Result: empty.
//
// [index: too many params]
// [regex error: the C library's message]
void op_index(parameters &parameters, text &out) {
  if (parameters.count() > 2) return append_error(out, "index", "too many params");
  std::shared_ptr<const regular_expression> pattern;
  if (!parameters[1].empty()) {
    pattern = compile_expression(parameters[1], 0);
    if (pattern->error() != 0) return pattern->append_error(pattern->error(), out);
  }
  std::vector<text> names;
  if (const int error = read_names(resolve_file(parameters[0]), pattern.get(), names); error != 0) {
    return pattern->append_error(error, out);
  }
  sort_names(names);
  text rows;
  for (const text &name : names) {
    rows.append(name);
    rows.append('\n');
  }
  put_table(std::make_unique<table>(std::move(rows)));
}

// ^unlink[file]
//
// Deletes the file. Result: empty.
//
// [unlink '' failed: no filename specified]
// [unlink 'path' failed: the system's description(#error number)]
void op_unlink(parameters &parameters, text &out) {
  const text path = parameters[0].empty() ? text() : resolve_file(parameters[0]);
  const text failure = remove_file(path);
  if (!failure.is_null()) report_error({"unlink '", path, "' failed: ", failure}, out);
}

constexpr operator_definition definitions[] = {
    {"name", op_name, 0, evaluated, "^name[path] ^name[path;level]", "A component of a path, without its extension.",
     pure},
    {"-f", op_readable, 1, evaluated, "^-f[file]", "The file's name, if the file can be read."},
    {"stat", op_stat, 0, evaluated, "^stat[what;file] ^stat[fsize;file;byte suffix;kilobyte suffix;megabyte suffix]",
     "The size of a file, or one of its times."},
    {"find", op_find, 0, lazy, "^find[file;default]",
     "The relative path of a file in the page's directory or above it."},
    {"include", op_include, 0, evaluated, "^include[file] ^include[asis;file]", "The text of a file."},
    {"index", op_index, 0, evaluated, "^index[directory] ^index[directory;pattern]",
     "Creates a table of the file names in a directory."},
    {"unlink", op_unlink, 1, evaluated, "^unlink[file]", "Deletes a file."},
};

}  // namespace

extern const operator_module file_operators{"files/file_operators.cpp", definitions};

}  // namespace quillet
