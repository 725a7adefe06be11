#include "cgi/file_names.h"
#include "core/evaluator.h"
#include "core/file.h"
#include "core/operators.h"
#include "core/quoting.h"

namespace quillet {

namespace {

text entry_path(std::string_view key_template) {
  const quoting_scope scope(quoting_none);
  return cache_entry_path(evaluate(key_template));
}

// Keeps the bytes in the file, if that is possible. A new entry gets its name when it is complete; one that
// another process has made meanwhile is rewritten, so that the last one stays.
void store(const text &path, std::string_view bytes) {
  make_directories(path);
  if (make_whole_file(path, bytes) == not_without_name) static_cast<void>(write_text_file(path, bytes, true));
}

// ^cache[key;body]
// ^cache[key]
//
// The text that is kept under the key. When there is none, the body is evaluated and its text kept until
// it is removed. With the key alone: removes what is kept; no text. The key is not escaped by the
// quoting mode.
void op_cache(parameters &parameters, text &out) {
  const text path = entry_path(parameters[0]);
  if (parameters.count() == 1) {
    static_cast<void>(remove_file(path));
    return;
  }
  // Deliberate: what is read back has lost its carriage returns and the lines that begin with "#".
  const text kept = read_text_file(path, false, true);
  if (!kept.is_null()) return out.append(kept);
  const std::size_t before = out.size();
  evaluate(parameters[1], out);
  store(path, out.view().substr(before));
}

constexpr operator_definition definitions[] = {
    {"cache", op_cache, 0, lazy, "^cache[key;body] ^cache[key]", "The text of the body, evaluated once and stored."},
};

}  // namespace

extern const operator_module cache_operators{"files/cache.cpp", definitions};

}  // namespace quillet
