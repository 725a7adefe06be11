// The container under the tables: a growable array of elements that it owns. Its errors mark faults of the program,
// and end it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "core/end.h"
#include "core/memory.h"

namespace quillet {

// The root of the container classes.
class tobject {
 public:
  constexpr tobject() = default;
  tobject(const tobject &) = delete;
  tobject &operator=(const tobject &) = delete;
  virtual ~tobject() = default;
};

// An array of more slots than this counts as one for which there is no memory: what a page writes as
// a row number must not fill the machine.
constexpr int max_slots = 20'000'000;

// Memory for the slots of an array.
template <class element>
struct slot_allocator {
  using value_type = element;
  constexpr slot_allocator() = default;
  template <class other>
  constexpr slot_allocator(const slot_allocator<other> &) {}  // NOLINT(google-explicit-constructor)

  [[nodiscard]] element *allocate(std::size_t slots) {
    void *block = try_allocate(slots * sizeof(element));
    if (block == nullptr) fatal("array set_limit error");
    return static_cast<element *>(block);
  }
  void deallocate(element *slots, std::size_t) { release(slots); }
  bool operator==(const slot_allocator &) const = default;
};

// What an empty slot holds: a view without bytes, a pointer to nothing.
[[nodiscard]] inline bool is_empty_slot(std::string_view row) { return row.data() == nullptr; }
template <class object>
[[nodiscard]] bool is_empty_slot(const std::shared_ptr<object> &element) {
  return element == nullptr;
}

// A growable array. `limit` slots are set aside, and `delta` more whenever they do not do; a slot below
// `count` may be empty.
template <class element>
class object_array : public tobject {
 public:
  constexpr object_array(int limit, int delta) : limit_(limit), delta_(delta) {
    if (delta < 0) fatal("array negative delta");
  }

  [[nodiscard]] int count() const { return static_cast<int>(items_.size() - front_); }
  [[nodiscard]] int limit() const { return limit_; }

  void append(element item) {
    make_room(count(), 1);
    if (is_empty_slot(item)) ++gaps_;
    items_.push_back(std::move(item));
  }

  // Inserts before the element at `index`. At or beyond the end it becomes the last element; slots
  // between stay empty.
  void insert(int index, element item) {
    std::vector<element> one;
    one.push_back(std::move(item));
    insert(index, std::move(one));
  }
  // The same for several elements, in their order. Whatever is nearer to the front moves towards it, so that
  // inserting and removing costs as little there as at the end.
  void insert(int index, std::vector<element> &&elements) {
    if (elements.empty()) return;
    if (index < 0) fatal("array negative insert index");
    make_room(index > count() ? index : count(), elements.size());
    if (index > count()) resize(index);
    for (const element &item : elements) gaps_ += is_empty_slot(item) ? 1 : 0;
    if (slot(index) < slot(count()) - slot(index)) {
      open_front(slot(index), elements.size());
      std::move(elements.begin(), elements.end(), items().begin() + index);
    } else {
      items_.insert(at(index), std::move_iterator(elements.begin()), std::move_iterator(elements.end()));
    }
  }

  // Stores into an empty slot, or beyond the end.
  void put(int index, element item) {
    if (index < 0 || (index < count() && !is_empty_slot(items()[slot(index)]))) fatal("array item %d put error", index);
    if (index >= count()) {
      make_room(index, 1);
      resize(index + 1);
    }
    if (!is_empty_slot(item)) --gaps_;
    items()[slot(index)] = std::move(item);
  }

  [[nodiscard]] const element &get(int index) const {
    if (index < 0 || index >= count()) fatal("array index %d out of range [0..%d]", index, count() - 1);
    if (is_empty_slot(items()[slot(index)])) fatal("array at %d error", index);
    return items()[slot(index)];
  }

  // Deletes as many elements as `number` says, each time the one that is at `index` then, and closes every gap. An
  // index outside the array removes nothing.
  void remove(int index, int number = 1) {
    if (index < 0 || index >= count() || number <= 0) return;
    if (gaps_ > 0) {
      if (!is_empty_slot(items()[slot(index)])) ++gaps_;
      items()[slot(index)] = element();
      compact();
      if (--number == 0 || index >= count()) return;
    }
    const int removed = number < count() - index ? number : count() - index;
    if (index < count() - removed - index) {
      std::move_backward(items().begin(), items().begin() + index, items().begin() + index + removed);
      for (int i = 0; i < removed; ++i) items_[front_++] = element();
    } else {
      items_.erase(at(index), at(index + removed));
    }
    shrink_limit();
  }

  // Moves the elements down over the empty slots and gives back the slots that are no longer needed.
  void compact() {
    if (gaps_ > 0) {
      std::erase_if(items_, [](const element &item) { return is_empty_slot(item); });  // those in front, too
      front_ = gaps_ = 0;
    }
    shrink_limit();
  }

  // Sets the number of slots; none, or less, frees the array.
  void set_limit(int slots) {
    if (slots <= 0) {
      items_ = {};
      front_ = gaps_ = 0;
      limit_ = 0;
      return;
    }
    if (slots < count() || slots > max_slots) fatal("array set_limit error");
    limit_ = slots;
  }

 protected:
  // Sets memory aside for so many elements.
  void reserve(std::size_t elements) { items_.reserve(elements); }
  [[nodiscard]] static std::size_t slot(int index) { return static_cast<std::size_t>(index); }
  [[nodiscard]] std::span<element> items() { return std::span(items_).subspan(front_); }
  [[nodiscard]] std::span<const element> items() const { return std::span(items_).subspan(front_); }

 private:
  [[nodiscard]] auto at(int index) { return items_.begin() + static_cast<std::ptrdiff_t>(front_) + index; }

  // Up to a number of elements, with empty slots.
  void resize(int size) {
    gaps_ += slot(size - count());
    items_.resize(front_ + slot(size));
  }
  // Moves the first `count_before` elements towards the front by `added` slots. Room is made there for as many as there
  // are elements, so that it is seldom made.
  void open_front(std::size_t count_before, std::size_t added) {
    if (front_ < added) {
      const std::size_t room = added + items().size();
      std::vector<element> empty(room);
      items_.insert(items_.begin(), std::move_iterator(empty.begin()), std::move_iterator(empty.end()));
      front_ += room;
    }
    const auto first = at(0);
    std::move(first, first + static_cast<std::ptrdiff_t>(count_before), first - static_cast<std::ptrdiff_t>(added));
    front_ -= added;
  }
  void shrink_limit() {
    if (delta_ > 0 && limit_ - delta_ > count()) limit_ -= (limit_ - count() - 1) / delta_ * delta_;
  }

  // Raises the limit by as many deltas as `added` elements after the first `used` slots need. Memory
  // is taken in growing pieces, so that many small steps cost no more than one large one.
  void make_room(int used, std::size_t added) {
    const std::size_t needed = slot(used) + added;
    if (needed <= slot(limit_)) return;
    if (delta_ < 1) fatal("array increase error");
    if (needed > slot(max_slots)) fatal("array set_limit error");
    const int missing = static_cast<int>(needed) - limit_;
    limit_ += (missing + delta_ - 1) / delta_ * delta_;
  }

  int limit_;
  int delta_;
  std::vector<element, slot_allocator<element>> items_;
  std::size_t front_ = 0;  // slots that are free before the first element; they hold nothing
  std::size_t gaps_ = 0;   // empty slots among the elements
};

}  // namespace quillet
