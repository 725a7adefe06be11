#include "core/prepared_text.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>

#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

// Made before every other object of the process, and destroyed after them.
[[gnu::init_priority(101)]] std::optional<repeated_text> longest_lived;

TEST(prepared_text, may_be_kept_until_the_process_ends) {
  const quillet_tests::child_result ended = quillet_tests::run_in_child([] {
    register_all_operators();
    text out;
    longest_lived.emplace("^color[^rem[]]");
    longest_lived->evaluate(out);
    std::exit(0);
  });
  EXPECT_EQ(ended.status, 0) << ended.error;
}

}  // namespace
}  // namespace quillet
