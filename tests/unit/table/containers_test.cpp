#include "table/containers.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "support.h"

namespace quillet {
namespace {

using namespace quillet_tests;

using view_array = object_array<std::string_view>;

// An object that counts how many of its kind are alive.
class counted : public tobject {
 public:
  explicit counted(std::string_view name = {}) : name_(name) { ++alive; }
  ~counted() override { --alive; }
  [[nodiscard]] std::string_view name() const { return name_; }
  inline static int alive = 0;

 private:
  std::string_view name_;
};
using counted_array = object_array<std::shared_ptr<counted>>;

// The elements in their order, "-" for an empty slot.
std::string show(const view_array &array) {
  std::string shown;
  for (int i = 0; i < array.count(); ++i) shown += std::string(array.get(i)) + " ";
  return shown;
}

void expect_fatal(const std::function<void()> &body, std::string_view message) {
  const child_result child = run_in_child(body);
  EXPECT_EQ(child.status, 254);
  EXPECT_EQ(child.error, std::string(message) + "\n");
}

TEST(object_array, appends_at_the_end) {
  view_array array(2, 2);
  for (const std::string_view element : {"a", "b", "c"}) array.append(element);
  EXPECT_EQ(show(array), "a b c ");
}

TEST(object_array, grows_by_its_delta_when_the_limit_is_reached) {
  view_array array(2, 3);
  array.append("a");
  array.append("b");
  EXPECT_EQ(array.limit(), 2);
  array.append("c");
  EXPECT_EQ(array.limit(), 5);
}

TEST(object_array, grows_by_as_many_deltas_as_an_index_needs) {
  view_array array(2, 3);
  array.insert(9, "a");
  EXPECT_EQ(array.limit(), 11);
  EXPECT_EQ(array.count(), 10);
}

TEST(object_array, inserts_before_an_index) {
  view_array array(2, 2);
  array.append("a");
  array.append("c");
  array.insert(1, "b");
  EXPECT_EQ(show(array), "a b c ");
}

TEST(object_array, inserts_several_elements_in_their_order) {
  view_array array(2, 2);
  array.append("a");
  array.append("d");
  array.insert(1, std::vector<std::string_view>{"b", "c"});
  EXPECT_EQ(show(array), "a b c d ");
}

TEST(object_array, inserts_nothing_at_a_negative_index) {
  view_array array(2, 2);
  array.insert(-1, std::vector<std::string_view>{});
  EXPECT_EQ(array.count(), 0);
}

TEST(object_array, an_index_beyond_the_end_leaves_empty_slots) {
  view_array array(2, 2);
  array.insert(2, "a");
  EXPECT_EQ(array.count(), 3);
  array.put(1, "b");
  array.put(0, "c");
  EXPECT_EQ(show(array), "c b a ");
}

TEST(object_array, put_beyond_the_end_extends_the_count) {
  view_array array(1, 1);
  array.put(3, "a");
  EXPECT_EQ(array.count(), 4);
  EXPECT_EQ(array.get(3), "a");
}

TEST(object_array, remove_closes_the_gap) {
  view_array array(2, 2);
  for (const std::string_view element : {"a", "b", "c"}) array.append(element);
  array.remove(1);
  EXPECT_EQ(show(array), "a c ");
}

TEST(object_array, remove_closes_every_gap) {
  view_array array(2, 2);
  array.append("a");
  array.insert(5, "b");
  array.insert(8, "c");
  array.remove(0);
  EXPECT_EQ(show(array), "b c ");
}

TEST(object_array, remove_outside_the_array_does_nothing) {
  view_array array(2, 2);
  array.append("a");
  array.remove(-1);
  array.remove(1);
  EXPECT_EQ(show(array), "a ");
}

TEST(object_array, compact_gives_slots_back_in_deltas) {
  view_array array(4, 4);
  for (int i = 0; i < 13; ++i) array.append("x");
  EXPECT_EQ(array.limit(), 16);
  while (array.count() > 5) array.remove(0);
  EXPECT_EQ(array.limit(), 8);
  array.remove(0);
  EXPECT_EQ(array.limit(), 8);
  array.remove(0);
  EXPECT_EQ(array.limit(), 4);
}

TEST(object_array, compact_keeps_the_limit_without_a_delta) {
  view_array array(4, 0);
  array.append("x");
  array.remove(0);
  EXPECT_EQ(array.limit(), 4);
}

TEST(object_array, set_limit_of_nothing_frees_the_array) {
  counted_array array(4, 4);
  array.append(std::make_shared<counted>());
  array.set_limit(0);
  EXPECT_EQ(counted::alive, 0);
  EXPECT_EQ(array.limit(), 0);
  EXPECT_EQ(array.count(), 0);
  array.append(std::make_shared<counted>());
  EXPECT_EQ(array.limit(), 4);
}

TEST(object_array, deletes_what_is_removed_and_the_rest_at_its_end) {
  {
    counted_array array(1, 1);
    array.append(std::make_shared<counted>());
    array.append(std::make_shared<counted>());
    array.remove(0);
    EXPECT_EQ(counted::alive, 1);
  }
  EXPECT_EQ(counted::alive, 0);
}

TEST(object_array, a_million_appends_take_linear_time) {
  view_array array(16, 16);
  for (int i = 0; i < 1'000'000; ++i) array.append("x");
  EXPECT_EQ(array.count(), 1'000'000);
}

TEST(object_array, get_outside_the_array_is_fatal) {
  expect_fatal(
      [] {
        view_array array(1, 1);
        array.append("a");
        static_cast<void>(array.get(1));
      },
      "array index 1 out of range [0..0]");
}

TEST(object_array, get_of_an_empty_slot_is_fatal) {
  expect_fatal(
      [] {
        view_array array(1, 1);
        array.insert(2, "a");
        static_cast<void>(array.get(1));
      },
      "array at 1 error");
}

TEST(object_array, put_into_a_slot_that_holds_an_element_is_fatal) {
  expect_fatal(
      [] {
        view_array array(1, 1);
        array.append("a");
        array.put(0, "b");
      },
      "array item 0 put error");
}

TEST(object_array, insert_at_a_negative_index_is_fatal) {
  expect_fatal([] { view_array(1, 1).insert(-1, "a"); }, "array negative insert index");
}

TEST(object_array, growth_without_a_delta_is_fatal) {
  expect_fatal(
      [] {
        view_array array(1, 0);
        array.append("a");
        array.append("b");
      },
      "array increase error");
}

TEST(object_array, a_negative_delta_is_fatal) {
  expect_fatal([] { view_array(1, -1); }, "array negative delta");
}

TEST(object_array, a_limit_below_the_count_is_fatal) {
  expect_fatal(
      [] {
        view_array array(2, 2);
        array.append("a");
        array.append("b");
        array.set_limit(1);
      },
      "array set_limit error");
}

TEST(object_array, more_slots_than_there_can_be_are_fatal) {
  expect_fatal([] { view_array(1, 1).insert(max_slots, "a"); }, "array set_limit error");
}

// Each way of changing the array, at random places, against a vector that is changed the plain way.
TEST(object_array, follows_a_plain_vector_through_random_changes) {
  quillet_tests::random_texts random(71);
  constexpr std::string_view words[] = {"a", "b", "c", "d", "e", "f", "g"};
  const auto word = [&] { return words[random.number(std::size(words))]; };
  for (int round = 0; round < 300; ++round) {
    view_array array(16, 16);
    std::vector<std::string_view> plain;
    for (int step = 0; step < 60; ++step) {
      const std::size_t place = random.number(plain.size() + 3);
      const auto index = static_cast<std::ptrdiff_t>(place);
      switch (random.number(random.number(20) == 0 ? 4U : 3U)) {
        case 0: {
          std::vector<std::string_view> added(random.number(5));
          for (std::string_view &item : added) item = word();
          if (place > plain.size() && !added.empty()) plain.resize(place);
          plain.insert(plain.begin() + std::min(index, std::ssize(plain)), added.begin(), added.end());
          array.insert(static_cast<int>(place), std::vector(added));
          break;
        }
        case 1: {
          const std::size_t number = random.number(4);
          if (place < plain.size() && number > 0) {
            plain[place] = {};
            std::erase_if(plain, [](std::string_view item) { return item.data() == nullptr; });
            const auto end = std::min(index + static_cast<std::ptrdiff_t>(number) - 1, std::ssize(plain));
            if (index < end) plain.erase(plain.begin() + index, plain.begin() + end);
          }
          array.remove(static_cast<int>(place), static_cast<int>(number));
          break;
        }
        case 2:
          plain.push_back(word());
          array.append(plain.back());
          break;
        default:
          if (place < plain.size()) break;  // fatal unless it is an empty slot
          plain.resize(place + 1);
          plain[place] = word();
          array.put(static_cast<int>(place), plain[place]);
      }
      ASSERT_EQ(array.count(), std::ssize(plain));
      ASSERT_GE(array.limit(), array.count());
      for (int i = 0; i < array.count(); ++i) {
        const std::string_view expected = plain[static_cast<std::size_t>(i)];
        if (expected.data() != nullptr) {
          ASSERT_EQ(array.get(i), expected);
        }
      }
    }
  }
}

// Moving every element each time, these would take hours.
TEST(object_array, inserts_and_removals_at_the_front_take_linear_time) {
  view_array array(16, 16);
  for (int i = 0; i < 300'000; ++i) array.insert(0, "a");
  EXPECT_EQ(array.count(), 300'000);
  for (int i = 0; i < 300'000; ++i) array.remove(0);
  EXPECT_EQ(array.count(), 0);
}

}  // namespace
}  // namespace quillet
