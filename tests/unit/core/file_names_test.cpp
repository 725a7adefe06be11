#include "core/file_names.h"

#include <gtest/gtest.h>

#include <string>

namespace quillet {
namespace {

TEST(underscore_path, marks_the_last_component) {
  EXPECT_EQ(underscore_path("lists/menu").view(), "lists/_menu");
  EXPECT_EQ(underscore_path("menu").view(), "_menu");
  EXPECT_EQ(underscore_path("lists/").view(), "lists/_");
}

TEST(cache_entry_path, keeps_letters_digits_underscores_and_slashes) {
  EXPECT_EQ(cache_entry_path("azAZ09_/x").view(), "./cache/azAZ09_/x_");
}

TEST(cache_entry_path, turns_a_space_into_a_tilde) {
  EXPECT_EQ(cache_entry_path("news/today 1").view(), "./cache/news/today~1_");
}

TEST(cache_entry_path, escapes_every_other_byte) {
  EXPECT_EQ(cache_entry_path("a.b").view(), "./cache/a-2Eb_");
  EXPECT_EQ(cache_entry_path("\xE9-~\t\xFF").view(), "./cache/-E9-2D-7E-09-FF_");
}

TEST(cache_entry_path, of_an_empty_key_is_the_mark_alone) { EXPECT_EQ(cache_entry_path("").view(), "./cache/_"); }

TEST(cache_entry_path, differs_for_every_byte) {
  std::string bytes;
  for (int byte = 1; byte < 256; ++byte) bytes += static_cast<char>(byte);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (std::size_t j = i + 1; j < bytes.size(); ++j) {
      EXPECT_NE(cache_entry_path(bytes.substr(i, 1)).view(), cache_entry_path(bytes.substr(j, 1)).view());
    }
  }
}

TEST(count_file_path, has_its_own_end) { EXPECT_EQ(count_file_path("/home/visits").view(), "/home/visits.count"); }

TEST(access_file_path, is_in_the_directory) {
  EXPECT_EQ(access_file_path("/home/www").view(), "/home/www/.htaccess");
  EXPECT_EQ(access_file_path("").view(), "/.htaccess");
}

}  // namespace
}  // namespace quillet
