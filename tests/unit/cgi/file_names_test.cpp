#include "cgi/file_names.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "cgi/request.h"

namespace quillet {
namespace {

// A page path and a document root for the time of a test.
class request_paths {
 public:
  request_paths(std::string_view page_path, std::string_view document_root) : root_before_(request.document_root) {
    request.page_path = text(page_path);
    request.document_root = document_root;
  }
  request_paths(const request_paths &) = delete;
  request_paths &operator=(const request_paths &) = delete;
  ~request_paths() {
    request.page_path = text();
    request.document_root = root_before_;
  }

 private:
  std::string_view root_before_;
};

TEST(page_directory_file, puts_the_name_after_the_last_slash_of_the_page_path) {
  const request_paths paths("/home/www/a/page.html", "/home/www");
  EXPECT_EQ(page_directory_file("list.txt").view(), "/home/www/a/list.txt");
}

TEST(page_directory_file, of_a_page_in_the_root_directory) {
  const request_paths paths("/page.html", "/");
  EXPECT_EQ(page_directory_file("x").view(), "/x");
}

TEST(resolve_file, takes_a_leading_slash_from_the_document_root) {
  const request_paths paths("/home/www/a/page.html", "/home/www");
  EXPECT_EQ(resolve_file("/b/c").view(), "/home/www/b/c");
}

TEST(resolve_file, takes_any_other_name_from_the_page_directory) {
  const request_paths paths("/home/www/a/page.html", "/home/www");
  EXPECT_EQ(resolve_file("b/c").view(), "/home/www/a/b/c");
  EXPECT_EQ(resolve_file("").view(), "/home/www/a/");
}

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
