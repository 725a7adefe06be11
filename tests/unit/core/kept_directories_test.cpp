#include "core/kept_directories.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <string>

namespace quillet {

namespace {

file_state some_state() { return {1, 2, 3, {1000, 5}, {1001, 6}}; }

// What the third file of a request is told.
unsigned long names_for_third(kept_directory &directory) {
  look_again_at_directories();
  EXPECT_EQ(directory.names(), 0);
  EXPECT_EQ(directory.names(), 0);
  return directory.names();
}

}  // namespace

TEST(file_state, every_part_of_it_counts) {
  EXPECT_TRUE(some_state() == some_state());
  const auto change = [](auto change_it) {
    file_state changed = some_state();
    change_it(changed);
    EXPECT_FALSE(changed == some_state());
  };
  change([](file_state &state) { state.device = 0; });
  change([](file_state &state) { state.number = 0; });
  change([](file_state &state) { state.size = 0; });
  change([](file_state &state) { state.modified.tv_sec = 0; });
  change([](file_state &state) { state.modified.tv_nsec = 0; });
  change([](file_state &state) { state.changed.tv_sec = 0; });
  change([](file_state &state) { state.changed.tv_nsec = 0; });
}

TEST(file_state, is_settled_after_more_than_two_seconds) {
  EXPECT_FALSE(is_settled({1, 2, 3, {1000, 0}, {1001, 0}}, 1003));
  EXPECT_TRUE(is_settled({1, 2, 3, {1000, 0}, {1001, 0}}, 1004));
  EXPECT_FALSE(is_settled({1, 2, 3, {1001, 0}, {1000, 0}}, 1003));
}

TEST(directory_of, is_what_is_before_the_last_slash) {
  EXPECT_EQ(directory_of("/www/news/page.html"), "/www/news");
  EXPECT_EQ(directory_of("/page.html"), "/");
  EXPECT_EQ(directory_of("news/page.html"), "news");
  EXPECT_EQ(directory_of(".profile"), ".");
}

TEST(kept_directory, is_known_from_the_third_file_of_a_request_on) {
  kept_directory directory("/usr");
  const unsigned long names = names_for_third(directory);
  EXPECT_NE(names, 0);
  EXPECT_EQ(directory.names(), names);
  EXPECT_EQ(names_for_third(directory), names);
}

TEST(kept_directory, is_not_known_after_a_program_was_started) {
  kept_directory directory("/usr");
  const unsigned long names = names_for_third(directory);
  know_no_directories();
  EXPECT_EQ(directory.names(), 0);
  EXPECT_EQ(names_for_third(directory), names);
}

TEST(kept_directory, is_not_known_when_it_has_just_changed) {
  const std::string path = testing::TempDir() + "kept-directory-" + std::to_string(getpid());
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  kept_directory directory(path);
  EXPECT_EQ(names_for_third(directory), 0);
  rmdir(path.c_str());
  EXPECT_EQ(names_for_third(directory), 0);
}

TEST(kept_directory, two_have_other_names) {
  kept_directory first("/usr");
  kept_directory second("/");
  EXPECT_NE(names_for_third(first), names_for_third(second));
}

}  // namespace quillet
