// Text: the one kind of value that the page language knows, and the routines that cut and join it.
//
// A text is a string of bytes in any 8-bit charset. It holds no NUL byte: bytes from outside are cut
// at their first NUL where they become text (`until_nul`). A text may be null, "absent"; null counts
// as empty wherever text is read.
//
// Reading goes through std::string_view, which does not own its bytes: whoever passes a view keeps
// the bytes alive for the time of the call. `text` owns its bytes.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <string_view>

#include "core/memory.h"
#include "core/viewed.h"

namespace quillet {

// A nullable, growable byte string that owns its bytes. Up to `inline_capacity` bytes live without
// the heap. Copying is explicit (`copy_text`); moving leaves the source null.
class text {
 public:
  static constexpr std::size_t inline_capacity = 39;

  constexpr text() noexcept : heap_(nullptr) {}  // null
  explicit text(std::string_view bytes);         // a copy of `bytes`; present even when empty
  text(text &&other) noexcept;
  text &operator=(text &&other) noexcept;
  text(const text &) = delete;
  text &operator=(const text &) = delete;
  ~text() {
    if (on_heap()) release(heap_);
  }

  [[nodiscard]] bool is_null() const noexcept { return capacity_ == 0; }
  [[nodiscard]] bool is_empty() const noexcept { return size_ == 0; }
  [[nodiscard]] std::size_t size() const noexcept { return size_; }
  [[nodiscard]] const char *data() const noexcept QUILLET_VIEWED { return on_heap() ? heap_ : inline_; }
  [[nodiscard]] char *data() noexcept QUILLET_VIEWED { return on_heap() ? heap_ : inline_; }
  // The bytes followed by a NUL byte, for the C library; "" for null.
  [[nodiscard]] const char *c_str() const noexcept QUILLET_VIEWED { return is_null() ? "" : data(); }
  [[nodiscard]] std::string_view view() const noexcept QUILLET_VIEWED { return {data(), size_}; }
  operator std::string_view() const noexcept QUILLET_VIEWED { return view(); }  // NOLINT(google-explicit-constructor)

  // Appends; appending nothing changes nothing, so a null text stays null. `bytes` may be a part of
  // this text.
  void append(std::string_view bytes) {
    if (bytes.empty()) return;
    if (bytes.size() > capacity_ - size_) return append_growing(bytes);
    char *const start = data();
    __builtin_memcpy(start + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
    start[size_] = '\0';
  }
  // The first `size` of so many bytes, without a call where there is room for all of them.
  static constexpr std::size_t padded_size = 16;
  void append_padded(const char (&bytes)[padded_size], std::size_t size) {
    if (capacity_ - size_ < padded_size) return append({bytes, size});
    char *const end = data() + size_;
    __builtin_memcpy(end, bytes, padded_size);
    end[size] = '\0';
    size_ += size;
  }
  void append(char byte) {
    if (size_ == capacity_) grow(size_ + 1);
    char *const start = data();
    start[size_++] = byte;
    start[size_] = '\0';
  }
  // Becomes a copy of the bytes, which are not a part of this text; present even when empty.
  void assign(std::string_view bytes) {
    if (bytes.size() > capacity_ || is_null()) grow(bytes.size());
    char *const start = data();
    if (!bytes.empty()) __builtin_memcpy(start, bytes.data(), bytes.size());
    size_ = bytes.size();
    start[size_] = '\0';
  }
  // Makes room for `size` bytes in all and gives back where the next byte goes; `commit` says how
  // many were written there.
  char *reserve(std::size_t size) {
    if (size > capacity_ || is_null()) reserve_growing(size);
    char *const start = data();
    start[size_] = '\0';
    return start + size_;
  }
  void commit(std::size_t added) noexcept {
    size_ += added;
    data()[size_] = '\0';
  }
  // From now on a whole block of bytes (`block_size`) after the last one can be read, whatever is in it.
  void pad();
  // Cuts to at most `size` bytes; size 0 gives null.
  void truncate(std::size_t size) noexcept;
  void clear() noexcept;

 private:
  [[nodiscard]] bool on_heap() const noexcept { return capacity_ > inline_capacity; }
  void grow(std::size_t needed);
  void grow_large(std::size_t capacity);
  void reserve_growing(std::size_t size);
  void append_growing(std::string_view bytes);

  std::size_t size_ = 0;
  std::size_t capacity_ = 0;  // 0 means null; otherwise without the NUL byte
  union {
    char *heap_;
    char inline_[inline_capacity + 1];
  };
};

// --- copies and pieces -----------------------------------------------------------------------

// A copy of a present text, null for null.
[[nodiscard]] text copy_text(const text &source);
// The first `n` bytes, or all when there are fewer; null when that is nothing.
[[nodiscard]] text copy_prefix(std::string_view source, std::size_t n);
// All of the bytes; null when there are none.
[[nodiscard]] inline text text_or_null(std::string_view source) { return copy_prefix(source, source.size()); }
// As `copy_prefix`, but nothing gives an empty text that is present.
[[nodiscard]] text copy_counted(std::string_view source, std::size_t n);
// `length` bytes from `start`, both clamped to the source; an empty view when nothing is left.
[[nodiscard]] std::string_view substring(std::string_view source QUILLET_VIEWED, std::size_t start, std::size_t length);

// Replaces `count` bytes at `start` (both clamped) by `insert`; a result without bytes is null.
// `insert` must not be a part of `target`.
void splice(text &target, std::size_t start, std::size_t count, std::string_view insert);
void delete_range(text &target, std::size_t start, std::size_t count);
void insert_at(text &target, std::size_t start, std::string_view insert);

// The parts joined; null when that is nothing. The list ends at the first empty part, so one in the
// middle ends it early.
[[nodiscard]] text concat(std::initializer_list<std::string_view> parts);

// `source` up to its first NUL byte: what remains of bytes from outside when they become text.
[[nodiscard]] std::string_view until_nul(std::string_view source QUILLET_VIEWED);

// --- cutting -----------------------------------------------------------------------------------
// Each cuts `head` just before what was looked for and gives the bytes after it, or leaves `head`
// whole and gives a view whose data() is null.

std::string_view cut_at_char(std::string_view &head, char c);
std::string_view cut_at_last_char(std::string_view &head, char c);
// An empty `mark` cuts nothing and gives `head` itself.
std::string_view cut_at_text(std::string_view &head, std::string_view mark);
std::string_view cut_at_last_text(std::string_view &head, std::string_view mark);
// The bytes before the next `c`, and `rest` moved past it; without `c` all of `rest`, which becomes
// a view whose data() is null.
std::string_view next_token(std::string_view &rest, char c);

// --- changing bytes ----------------------------------------------------------------------------

void replace_chars(text &target, char from, char to);
void tabs_to_blanks(text &target);
// `source` with every occurrence of `find` replaced, from the left; null when either is empty.
[[nodiscard]] text replace_all(std::string_view find, std::string_view with, std::string_view source);
// ASCII letters only; see charset.h for the bytes above 127.
void upper_in_place(text &target);
void lower_in_place(text &target);
// Removes every byte of the C library's white-space class.
void remove_white_space(text &target);

// --- in URLs -------------------------------------------------------------------------------------

// A new text in which a space becomes "+", ASCII letters and digits stay and every other byte
// becomes "%" and two lower-case hexadecimal digits. Nothing gives null.
[[nodiscard]] text url_encode(std::string_view source);
// The same, but "_", "-" and "." stay too, and the digits are upper-case.
[[nodiscard]] text url_escape(std::string_view source);
// Undoes either in place; the result is never longer. "+" becomes a space, "%" and two bytes the byte
// whose hexadecimal digits they are; a byte that is not a digit counts as 0. A "%" with fewer than two bytes
// after it is dropped with them.
std::string_view url_decode(char *bytes, std::size_t length);
// The same as a new text, cut at the first NUL. Nothing gives null.
[[nodiscard]] text url_unescape(std::string_view source);

// --- asking ------------------------------------------------------------------------------------

[[nodiscard]] constexpr bool is_digit(char c) { return c >= '0' && c <= '9'; }
[[nodiscard]] constexpr bool is_letter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
// The C library's white-space class on unsigned bytes, in the "C" locale.
[[nodiscard]] constexpr bool is_white_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
// Bytes below a space, and DEL.
[[nodiscard]] constexpr bool is_control(char c) { return (c >= 0 && c < ' ') || c == '\x7F'; }
[[nodiscard]] constexpr char upper_char(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 32) : c; }
[[nodiscard]] constexpr char lower_char(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; }

// True when there is at least one byte and every byte is 0 to 9.
[[nodiscard]] bool all_digits(std::string_view source);
[[nodiscard]] inline bool is_nonempty(std::string_view source) { return !source.empty(); }
// Byte equality; two nulls are equal, a null equals only a null.
[[nodiscard]] bool text_equal(const text &a, const text &b);
[[nodiscard]] inline std::size_t text_length(const text &source) { return source.size(); }
// Byte equality in which ASCII letters of either case are the same.
[[nodiscard]] bool equal_ignoring_case(std::string_view a, std::string_view b);

// --- numbers -----------------------------------------------------------------------------------

// The C library's decimal reading of the front of a text (spaces, a sign, digits; the rest ignored;
// nothing to read gives 0), kept within its type: a number beyond it gives the nearest limit.
[[nodiscard]] int parse_int(std::string_view source);
[[nodiscard]] long long parse_long(std::string_view source);

// The decimal digits of a number, with its sign: a view of its own bytes.
class decimal_digits {
 public:
  explicit decimal_digits(long long number);
  operator std::string_view() const QUILLET_VIEWED {  // NOLINT(google-explicit-constructor)
    return {bytes_ + start_, size_};
  }

 private:
  char bytes_[21];
  std::size_t start_;
  std::size_t size_;
};

// Decimal digits of a number, zero-padded to `width` ("%d", "%0*d", "%lu", "%0*lu").
[[nodiscard]] text format_signed(long long number, int width = 0);
[[nodiscard]] text format_unsigned(unsigned long long number, int width = 0);

}  // namespace quillet
