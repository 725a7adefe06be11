// The containers under the tables: a growable array of elements that it owns, and one that is kept in
// the order of its elements' names. Their errors mark faults of the program, and end it.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "cgi/log.h"
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

  [[nodiscard]] int count() const { return static_cast<int>(items_.size()); }
  [[nodiscard]] int limit() const { return limit_; }

  void append(element item) {
    make_room(count(), 1);
    items_.push_back(std::move(item));
  }

  // Inserts before the element at `index`. At or beyond the end it becomes the last element; slots
  // between stay empty.
  void insert(int index, element item) {
    std::vector<element> one;
    one.push_back(std::move(item));
    insert(index, std::move(one));
  }
  // The same for several elements, in their order.
  void insert(int index, std::vector<element> &&elements) {
    if (elements.empty()) return;
    if (index < 0) fatal("array negative insert index");
    make_room(index > count() ? index : count(), elements.size());
    if (index > count()) items_.resize(slot(index));
    items_.insert(items_.begin() + index, std::move_iterator(elements.begin()), std::move_iterator(elements.end()));
  }

  // Stores into an empty slot, or beyond the end.
  void put(int index, element item) {
    if (index < 0 || (index < count() && !is_empty_slot(items_[slot(index)]))) fatal("array item %d put error", index);
    if (index >= count()) {
      make_room(index, 1);
      items_.resize(slot(index) + 1);
    }
    items_[slot(index)] = std::move(item);
  }

  [[nodiscard]] const element &get(int index) const {
    if (index < 0 || index >= count()) fatal("array index %d out of range [0..%d]", index, count() - 1);
    if (is_empty_slot(items_[slot(index)])) fatal("array at %d error", index);
    return items_[slot(index)];
  }

  // Empties the slot, the element in it is deleted, and closes every gap. An index outside the array
  // removes nothing.
  void remove(int index) {
    if (index < 0 || index >= count()) return;
    items_[slot(index)] = element();
    compact();
  }

  // Moves the elements down over the empty slots and gives back the slots that are no longer needed.
  void compact() {
    std::erase_if(items_, [](const element &item) { return is_empty_slot(item); });
    if (delta_ > 0 && limit_ - delta_ > count()) limit_ -= (limit_ - count() - 1) / delta_ * delta_;
  }

  // Sets the number of slots; none, or less, frees the array.
  void set_limit(int slots) {
    if (slots <= 0) {
      items_ = {};
      limit_ = 0;
      return;
    }
    if (slots < count() || slots > max_slots) fatal("array set_limit error");
    limit_ = slots;
  }

 protected:
  using slot_vector = std::vector<element, slot_allocator<element>>;
  [[nodiscard]] static std::size_t slot(int index) { return static_cast<std::size_t>(index); }
  [[nodiscard]] slot_vector &items() { return items_; }
  [[nodiscard]] const slot_vector &items() const { return items_; }

 private:
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
  slot_vector items_;
};

// An array of objects in ascending byte order of their names. No name, the empty one, comes first.
template <class object>
class sorted_array : public object_array<std::shared_ptr<object>> {
 public:
  using object_array<std::shared_ptr<object>>::object_array;

  // Whether there is an element of that name. `position` becomes its index, or the one where it would
  // be inserted.
  bool search(std::string_view name, int &position) const {
    bool found = false;
    int high = this->count() - 1;
    position = 0;
    while (position <= high) {
      const int middle = position + (high - position) / 2;
      const int order = this->get(middle)->name().compare(name);
      if (order == 0) found = true;
      if (order >= 0) {
        high = middle - 1;
      } else {
        position = middle + 1;
      }
    }
    return found;
  }

  // Inserts the element where its name belongs.
  void insert_in_order(std::shared_ptr<object> item) {
    int position = 0;
    search(item->name(), position);
    this->insert(position, std::move(item));
  }
};

}  // namespace quillet
