// The door for an onlooker, a tool that shows authors how their pages come about: where the bytes of a text come
// from, which calls are made and what they give. No byte of a response depends on it. Without an onlooker the door
// costs one look at a pointer for each text that is read for calls, and for each piece a macro is put together of.
//
// Whoever sets an onlooker shuts the door to preparation (preparation.h), so that all texts go the plain way.
#pragma once

#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "core/parameters.h"
#include "core/text.h"

namespace quillet {

struct kept_piece;

class onlooker {
 public:
  onlooker() = default;
  onlooker(const onlooker &) = delete;
  onlooker &operator=(const onlooker &) = delete;
  virtual ~onlooker() = default;

  // A file was read as text: all of its bytes, and those that were kept, in pieces.
  virtual void file_read(std::string_view path, std::string_view bytes, std::string_view kept,
                         std::span<const kept_piece> pieces) = 0;
  // A file that was to be read could not be opened; errno says why, and stays.
  virtual void file_not_opened(std::string_view path) = 0;
  // A text was put together of copies of these parts, in their order. Only where a part is counts: its bytes may be
  // gone.
  virtual void text_made(std::string_view made, std::span<const std::string_view> parts) = 0;

  // A text is read for calls, and its expansion appended to `out`.
  virtual void text_begins(std::string_view source, const text &out) = 0;
  virtual void text_ends(const text &out) = 0;
  // Bytes of that text are about to be appended as they are.
  virtual void literal(std::string_view bytes, const text &out) = 0;
  // A call in that text; both the name and the parameters, raw at first, live until it ends.
  virtual void call_begins(std::string_view name, const parameters &parameters, const text &out) = 0;
  virtual void call_ends(const text &out) = 0;
  // The body of a macro is evaluated.
  virtual void macro_begins(std::string_view name) = 0;
  virtual void macro_ends() = 0;

  // A message to the author about the call under way or, if given, about the text at `where`.
  virtual void message(std::string_view message, std::string_view where) = 0;
  // Bytes that nobody gets, and the text that they come from; `what` says which they are.
  virtual void dropped(std::string_view what, std::string_view bytes, std::string_view where) = 0;
};

// Who watches; null for nobody. Set once, before the request.
inline onlooker *current_onlooker = nullptr;

[[nodiscard]] inline bool is_watched() { return current_onlooker != nullptr; }

inline void tell_message(std::string_view message, std::string_view where = {}) {
  if (is_watched()) current_onlooker->message(message, where);
}

inline void tell_not_opened(std::string_view path) {
  if (is_watched()) current_onlooker->file_not_opened(path);
}

inline void tell_dropped(std::string_view what, std::string_view bytes, std::string_view where) {
  if (is_watched()) current_onlooker->dropped(what, bytes, where);
}

// The text is a copy of `source`. While somebody watches, its bytes no longer move with it.
inline void tell_copy(text &copy, std::string_view source) {
  if (!is_watched() || copy.is_null()) return;
  copy.reserve(text::inline_capacity + 1);
  current_onlooker->text_made(copy, {&source, 1});
}

// A text put together of copies.
class text_of_copies {
 public:
  void reserve(std::size_t size) { made_.reserve(size); }
  void append(std::string_view part) {
    if (is_watched() && !part.empty()) parts_.push_back(part);
    made_.append(part);
  }
  [[nodiscard]] text take() {
    if (!parts_.empty()) {
      made_.reserve(text::inline_capacity + 1);
      current_onlooker->text_made(made_, parts_);
    }
    return std::move(made_);
  }

 private:
  text made_;
  std::vector<std::string_view> parts_;  // kept only while somebody watches
};

// The time in which the body of a macro is evaluated.
class macro_body_scope {
 public:
  explicit macro_body_scope(std::string_view name) {
    if (is_watched()) current_onlooker->macro_begins(name);
  }
  macro_body_scope(const macro_body_scope &) = delete;
  macro_body_scope &operator=(const macro_body_scope &) = delete;
  ~macro_body_scope() {
    if (is_watched()) current_onlooker->macro_ends();
  }
};

}  // namespace quillet
