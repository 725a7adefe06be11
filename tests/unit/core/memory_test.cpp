#include "core/memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <new>
#include <string>

#include "core/end.h"
#include "support.h"

namespace quillet {
namespace {

constexpr std::size_t too_much = SIZE_MAX / 4;
constexpr int fatal_status = 254;

// A sanitizer says something of its own before it.
void expect_last_line(const std::string &error, const std::string &line) {
  EXPECT_TRUE(error.ends_with(line)) << error;
}

TEST(allocate, of_size_0_is_null) { EXPECT_EQ(allocate(0), nullptr); }

TEST(allocate, gives_a_block_of_its_own) {
  void *block = allocate(100);
  ASSERT_NE(block, nullptr);
  std::memset(block, 1, 100);
  release(block);
}

TEST(allocate, without_memory_ends_with_a_message_and_no_output) {
  const auto child = quillet_tests::run_in_child([] { static_cast<void>(allocate(too_much)); });
  EXPECT_EQ(child.status, fatal_status);
  EXPECT_EQ(child.output, "");
  expect_last_line(child.error, "unable to malloc " + std::to_string(too_much) + " bytes\n");
}

TEST(reallocate, keeps_the_bytes) {
  auto *block = static_cast<char *>(allocate(4));
  std::memcpy(block, "abc", 4);
  block = static_cast<char *>(reallocate(block, 100000));
  EXPECT_STREQ(block, "abc");
  release(block);
}

TEST(reallocate, of_null_gives_a_new_block) {
  void *block = reallocate(nullptr, 10);
  EXPECT_NE(block, nullptr);
  release(block);
}

TEST(reallocate, to_size_0_frees_and_gives_null) { EXPECT_EQ(reallocate(allocate(10), 0), nullptr); }

TEST(reallocate, without_memory_ends_with_a_message) {
  const auto child = quillet_tests::run_in_child([] { static_cast<void>(reallocate(allocate(8), too_much)); });
  EXPECT_EQ(child.status, fatal_status);
  expect_last_line(child.error, "unable to realloc " + std::to_string(too_much) + " bytes\n");
}

TEST(try_allocate_filled, gives_a_block_of_every_size) {
  constexpr std::size_t megabyte = 1024 * 1024;
  EXPECT_EQ(try_allocate_filled(0), nullptr);
  for (const std::size_t size :
       {std::size_t{1}, megabyte - 1, megabyte, 2 * megabyte, 3 * megabyte - 1, 7 * megabyte}) {
    void *block = try_allocate_filled(size);
    ASSERT_NE(block, nullptr) << size;
    std::memset(block, 1, size);
    release(block);
  }
}

TEST(try_allocate_filled, without_memory_is_null) { EXPECT_EQ(try_allocate_filled(too_much), nullptr); }

TEST(try_allocate, without_memory_is_null) {
  EXPECT_EQ(try_allocate(too_much), nullptr);
  EXPECT_EQ(try_allocate(0), nullptr);
}

TEST(release, of_null_does_nothing) { release(nullptr); }

TEST(operator_new, without_memory_ends_the_same_way) {
  const auto child = quillet_tests::run_in_child([] { ::operator delete(::operator new(too_much)); });
  EXPECT_EQ(child.status, fatal_status);
  expect_last_line(child.error, "unable to malloc " + std::to_string(too_much) + " bytes\n");
}

TEST(operator_new, that_must_not_throw_gives_null_without_memory) {
  EXPECT_EQ(::operator new(too_much, std::nothrow), nullptr);
  void *block = ::operator new(10, std::nothrow);
  EXPECT_NE(block, nullptr);
  ::operator delete(block);
}

TEST(operator_new, of_size_0_gives_a_block) {
  void *block = ::operator new(0);
  EXPECT_NE(block, nullptr);
  ::operator delete(block);
}

}  // namespace
}  // namespace quillet
