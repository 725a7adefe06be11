#include "core/end.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "support.h"

namespace quillet {
namespace {

using quillet_tests::child_result;
using quillet_tests::run_in_child;

TEST(fatal, ends_with_status_254_its_message_on_standard_error_and_no_output) {
  const child_result child = run_in_child([] { fatal("no %s left", "room"); });
  EXPECT_EQ(child.status, 254);
  EXPECT_EQ(child.output, "");
  EXPECT_EQ(child.error, "no room left\n");
}

TEST(fatal, hands_its_message_to_the_writer_that_was_set) {
  const child_result child = run_in_child([] {
    set_last_message_writer([](const char *format, std::va_list arguments) {
      std::fputs("last: ", stderr);
      std::vfprintf(stderr, format, arguments);
    });
    fatal("no %s left", "room");
  });
  EXPECT_EQ(child.status, 254);
  EXPECT_EQ(child.error, "last: no room left");
}

}  // namespace
}  // namespace quillet
