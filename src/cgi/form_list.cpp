#include "cgi/form_list.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

#include "core/keyed_hash.h"
#include "core/memory.h"

namespace quillet {

namespace {

// Entries that were added together: fields of URL-encoded input, or whole entries. Running out of memory here is
// the visitor's doing and ends the decoding, so runs do not go through the containers, whose allocation never
// fails.
struct entry_run {
  entry_run *next;
  std::size_t first;  // the number of entries before
  std::size_t count;
  std::size_t capacity;
  const char *bytes;  // of the fields; null for whole entries

  [[nodiscard]] std::size_t end() const { return first + count; }
  // What follows the run in its block.
  [[nodiscard]] packed_field *fields() { return reinterpret_cast<packed_field *>(this + 1); }
  [[nodiscard]] form_entry *entries() { return reinterpret_cast<form_entry *>(this + 1); }
  [[nodiscard]] form_entry operator[](std::size_t i) {
    if (bytes == nullptr) return entries()[i];
    const packed_field field = fields()[i];
    const char *const name = bytes + field.start;
    const std::size_t size = fields()[i + 1].start - field.start;
    return {{name, field.name_size}, {name + field.name_size, size - field.name_size}, {}};
  }
};
static_assert(sizeof(entry_run) % alignof(form_entry) == 0);

struct {
  entry_run *first = nullptr;
  entry_run *last = nullptr;
} runs;

std::size_t entry_count() { return runs.last == nullptr ? 0 : runs.last->end(); }

// A new run at the end, with room for `size` bytes of entries; null without memory.
entry_run *add_run(std::size_t size, std::size_t capacity, const char *bytes) {
  auto *run = static_cast<entry_run *>(try_allocate(sizeof(entry_run) + size));
  if (run == nullptr) return nullptr;
  std::construct_at(run, entry_run{nullptr, entry_count(), 0, capacity, bytes});
  (runs.last == nullptr ? runs.first : runs.last->next) = run;
  return runs.last = run;
}

form_entry entry_at(std::size_t position) {
  entry_run *run = runs.first;
  while (position >= run->end()) run = run->next;
  return (*run)[position - run->first];
}

// The first entry of each name, and the next one of the same name for each entry, in at most ten bytes an entry:
// a page that asks for each of 80,000 fields takes 60 ms with it, 30 s without. Made once linear searches have
// passed a multiple of all entries.
class name_index {
 public:
  explicit name_index(std::size_t count)
      : next_(count), most_slots_(count * 3 / 2 + 1), position_bits_((std::uint32_t{1} << std::bit_width(count)) - 1) {
    while (shift_ > 0 && most_slots_ >> shift_ < smallest) shift_ -= 2;
    slots_.resize(most_slots_ >> shift_);
    for (std::size_t i = count; i-- > 0;) add(i);
  }

  // The first entry of that name. Fields are mostly asked for in their order: the one after `last` is tried first.
  [[nodiscard]] std::optional<std::size_t> first(std::string_view name, std::size_t last) const {
    if (last + 1 < next_.size() && is_first(last + 1) && entry_at(last + 1).name == name) return last + 1;
    const std::uint32_t slot = slots_[slot_of(name, keyed_hash(name))];
    return slot == 0 ? std::nullopt : std::optional<std::size_t>(position_in(slot));
  }
  [[nodiscard]] std::optional<std::size_t> next(std::size_t position) const {
    const std::uint32_t next = next_[position] & ~is_later;
    return next == 0 ? std::nullopt : std::optional<std::size_t>(next);  // the first entry follows none
  }

 private:
  static constexpr std::size_t smallest = 64;
  static constexpr std::uint32_t is_later = 1U << 31;  // in `next_`: not the first entry of its name

  [[nodiscard]] bool is_first(std::size_t position) const { return (next_[position] & is_later) == 0; }
  // A slot holds a position, counted from 1, and above it bits of the hash, so that hardly another name is read.
  [[nodiscard]] std::size_t position_in(std::uint32_t slot) const { return (slot & position_bits_) - 1; }
  [[nodiscard]] std::uint32_t filled_slot(std::size_t position, std::uint64_t hash) const {
    return static_cast<std::uint32_t>(position + 1) | (static_cast<std::uint32_t>(hash) & ~position_bits_);
  }

  // The slot of the name, or the free one where it belongs.
  [[nodiscard]] std::size_t slot_of(std::string_view name, std::uint64_t hash) const {
    const std::uint32_t bits = static_cast<std::uint32_t>(hash) & ~position_bits_;
    std::size_t slot = (hash >> 32) * slots_.size() >> 32;
    for (std::uint32_t found; (found = slots_[slot]) != 0;) {
      if ((found & ~position_bits_) == bits && entry_at(position_in(found)).name == name) break;
      if (++slot == slots_.size()) slot = 0;
    }
    return slot;
  }
  // From the last entry to the first, so that each new one is the first of its name so far.
  void add(std::size_t position) {
    if (names_ * 3 >= slots_.size() * 2) grow(position + 1);  // not with the most slots, which are enough
    const std::string_view name = entry_at(position).name;
    const std::uint64_t hash = keyed_hash(name);
    std::uint32_t &slot = slots_[slot_of(name, hash)];
    if (slot == 0) {
      ++names_;
    } else {
      next_[position_in(slot)] |= is_later;
      next_[position] = static_cast<std::uint32_t>(position_in(slot));
    }
    slot = filled_slot(position, hash);
  }
  // Makes more slots for the names of the entries from `added` on, in their order: that reads memory in its order.
  void grow(std::size_t added) {
    shift_ -= 2;
    slots_ = {};
    slots_.resize(most_slots_ >> shift_);
    for (std::size_t i = added; i < next_.size(); ++i) {
      if (!is_first(i)) continue;
      const std::string_view name = entry_at(i).name;
      const std::uint64_t hash = keyed_hash(name);
      slots_[slot_of(name, hash)] = filled_slot(i, hash);
    }
  }

  std::vector<std::uint32_t> next_;
  std::size_t most_slots_;  // enough when every entry has a name of its own
  std::uint32_t position_bits_;
  unsigned shift_ = 24;  // how many times 2 fewer slots there are than that
  std::vector<std::uint32_t> slots_;
  std::size_t names_ = 0;
};

// Where the last search ended.
struct {
  std::unique_ptr<name_index> index;
  std::size_t indexed = 0;  // the number of entries in it
  std::size_t passed = 0;   // by linear searches so far
  std::optional<std::size_t> found;
  std::size_t last = 0;  // the entry found last
} search;

// The next entry of that name from `position` on, one by one.
std::optional<std::size_t> search_from(std::size_t position, std::string_view name) {
  const std::size_t count = entry_count();
  const std::size_t start = position;
  while (position < count && entry_at(position).name != name) ++position;
  search.passed += position - start;
  return position == count ? std::nullopt : std::optional<std::size_t>(position);
}

// The index, or null while it is not worth making.
const name_index *index_of_names() {
  constexpr std::size_t few = 16;
  const std::size_t count = entry_count();
  if (count <= few || search.passed < 16 * count) return nullptr;
  if (search.index == nullptr || search.indexed != count) {
    search.index = std::make_unique<name_index>(count);
    search.indexed = count;
  }
  return search.index.get();
}

std::optional<form_entry> found(std::optional<std::size_t> position) {
  search.found = position;
  if (!position) return std::nullopt;
  search.last = *position;
  return entry_at(*position);
}

}  // namespace

packed_field *add_packed_fields(const char *bytes, std::size_t count) {
  entry_run *run = add_run((count + 1) * sizeof(packed_field), count, bytes);
  if (run == nullptr) return nullptr;
  run->count = count;
  return run->fields();
}

bool add_form_entry(const form_entry &entry) {
  entry_run *run = runs.last;
  if (run == nullptr || run->bytes != nullptr || run->count == run->capacity) {
    const std::size_t capacity = std::max<std::size_t>(16, run == nullptr ? 0 : run->capacity * 2);
    run = add_run(capacity * sizeof(form_entry), capacity, nullptr);
    if (run == nullptr) return false;
  }
  std::construct_at(&run->entries()[run->count++], entry);
  return true;
}

void clear_form_entries() {
  for (entry_run *run = runs.first; run != nullptr;) {
    entry_run *const next = run->next;
    release(run);
    run = next;
  }
  runs = {};
  search = {};
}

std::size_t form_entry_list::size() const { return entry_count(); }

form_entry form_entry_list::operator[](std::size_t position) const { return entry_at(position); }

std::optional<form_entry> find_form_entry(std::string_view name) {
  const name_index *index = index_of_names();
  return found(index == nullptr ? search_from(0, name) : index->first(name, search.last));
}

std::optional<form_entry> find_next_form_entry() {
  if (!search.found) return std::nullopt;
  const std::size_t before = *search.found;
  const name_index *index = index_of_names();
  return found(index == nullptr ? search_from(before + 1, entry_at(before).name) : index->next(before));
}

}  // namespace quillet
