#include "macro/macro_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "cgi/request.h"
#include "macro/macro_library.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

using quillet_tests::write_file;

// A site: its document root is www/ in the working directory, its page www/a/page.html.
class site {
 public:
  site() : root_(folder_.path() + "/www") {
    register_all_operators();
    std::filesystem::create_directories("www/a/lib");
    request.document_root = root_;
    request.page_path = text(root_ + "/a/page.html");
  }
  site(const site &) = delete;
  site &operator=(const site &) = delete;
  ~site() {
    request.document_root = "";
    request.page_path = text();
  }

  [[nodiscard]] const std::string &folder() const { return folder_.path(); }

 private:
  quillet_tests::temporary_folder folder_;
  std::string root_;
};

std::string body(std::string_view name) {
  const macro *found = find_macro(name);
  return found == nullptr ? "(none)" : std::string(found->body.view());
}

std::string used(std::string_view name) {
  text out;
  use_macro_files(name, out);
  return std::string(out.view());
}

std::string processed(std::string_view page) {
  write_file(std::string(request.page_path.view()), page);
  return std::string(process_page(request.page_path).view());
}

TEST(load_configuration, reads_the_file_of_the_working_directory) {
  const site here;
  write_file("_macro.cfg", "# a comment\r\n@load1[a]\r\n$a\r\n\r\nb\r\n");
  write_file("www/_macro.cfg", "@load2\nx");
  load_configuration();
  EXPECT_EQ(body("load1"), "$1\n\nb");
  EXPECT_EQ(body("load2"), "(none)");
}

TEST(load_configuration, without_definitions_there_reads_the_one_of_the_document_root) {
  const site here;
  write_file("_macro.cfg", "no definitions\n");
  write_file("www/_macro.cfg", "@load3\nx");
  load_configuration();
  EXPECT_EQ(body("load3"), "x");
}

TEST(load_configuration, without_any_file_leaves_the_macros_as_they_are) {
  const site here;
  define_macro("load4", text(std::string_view("kept")));
  load_configuration();
  EXPECT_EQ(body("load4"), "kept");
  EXPECT_EQ(body("load5"), "(none)");
}

TEST(process_page, expands_a_page_without_definitions) {
  const site here;
  define_macro("process1", text(std::string_view("macro")));
  EXPECT_EQ(processed("a ^macro[process1]\n# comment\n\nb\r\n"), "a macro\n\nb\n");
}

TEST(process_page, of_a_page_with_definitions_gives_the_output_of_its_main) {
  const site here;
  EXPECT_EQ(processed("rest of the page\n@main\n^macro[process2]!\n@process2\nHello"), "Hello!");
}

TEST(process_page, of_a_page_with_definitions_and_no_main_returns_nothing) {
  const site here;
  EXPECT_EQ(processed("@process3\nHello"), "");
}

TEST(process_page, of_a_missing_page_returns_nothing) {
  const site here;
  EXPECT_TRUE(process_page(here.folder() + "/www/missing.html").is_empty());
}

TEST(use_macro_files, of_no_name_does_nothing) {
  const site here;
  EXPECT_EQ(used(""), "");
}

TEST(use_macro_files, deliberately_reads_the_file_with_an_underscore_before_its_name) {
  const site here;
  write_file("www/a/_lib.cfg", "@use1\nbody\n@main\noutput");
  write_file("www/a/lib.cfg", "@main\nwrong");
  EXPECT_EQ(used("lib.cfg"), "output");
  EXPECT_EQ(body("use1"), "body");
}

TEST(use_macro_files, takes_a_leading_slash_from_the_document_root) {
  const site here;
  write_file("www/_lib.cfg", "@main\nroot");
  EXPECT_EQ(used("/lib.cfg"), "root");
}

TEST(use_macro_files, reads_every_file_of_a_directory_but_hidden_ones) {
  const site here;
  write_file("www/a/lib/one", "@use2\n1");
  write_file("www/a/lib/_two", "@use3\n2\n@main\noutput");
  write_file("www/a/lib/.hidden", "@use4\n3");
  EXPECT_EQ(used("lib/"), "output");
  EXPECT_EQ(body("use2"), "1");
  EXPECT_EQ(body("use3"), "2");
  EXPECT_EQ(body("use4"), "(none)");
}

TEST(use_macro_files, reads_the_configuration_of_every_directory_on_the_page_path_outermost_first) {
  const site here;
  write_file("_quillet.cfg", "@main\nouter \n@use5\nouter");
  write_file("www/_quillet.cfg", "@main\nroot ");
  write_file("www/a/_quillet.cfg", "@main\npage\n@use5\ninner");
  write_file("www/a/lib/_quillet.cfg", "@main\nwrong");
  EXPECT_EQ(used("quillet.cfg"), "outer root page");
  EXPECT_EQ(body("use5"), "inner");
}

TEST(use_macro_files, skips_missing_files_silently) {
  const site here;
  EXPECT_EQ(used("missing.cfg"), "");
  EXPECT_EQ(used("missing/"), "");
  EXPECT_EQ(used("quillet.cfg"), "");
}

}  // namespace
}  // namespace quillet
