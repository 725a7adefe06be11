#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <string>
#include <string_view>

#include "apps/gif_picture.h"
#include "cgi/request.h"
#include "core/evaluator.h"
#include "macro/macro_library.h"
#include "main/modules.h"
#include "support.h"

namespace quillet {
namespace {

using namespace std::string_view_literals;
using quillet_tests::file_content;
using quillet_tests::write_file;

// A GIF file of 6 by 8 pixels with a transparent color, an extension and a palette of four.
constexpr std::string_view seed =
    "GIF89a\x06\x00\x08\x00\x81\x00\x00"
    "\x00\x00\x00\xff\xff\xff\xff\x00\x00\x00\x00\xff"
    "!\xf9\x04\x01\x00\x00\x01\x00"
    "!\xfe\x05hello\x00"
    ",\x00\x00\x00\x00\x06\x00\x08\x00\x00"
    "\x02\x13\xcc\x16\x26\x03\x2c\x96\xd6\x10\x2f\x4d\x00\x4c\xce\x8b\xf6\x84\x05\x4f\x01\x00;"sv;

// Changes some bytes, cuts some off or repeats some.
std::string mutated(std::string_view source, quillet_tests::random_texts &random) {
  std::string bytes(source);
  for (std::size_t changes = 1 + random.number(4); changes > 0 && !bytes.empty(); --changes) {
    const std::size_t at = random.number(bytes.size());
    switch (random.number(6)) {
      case 0:
        bytes[at] = static_cast<char>(random.number(256));
        break;
      case 1:
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << random.number(8)));
        break;
      case 2:
        bytes.resize(at);
        break;
      case 3:
        bytes.insert(at, bytes.substr(at, random.number(20)));
        break;
      case 4:
        bytes.erase(at, random.number(4));
        break;
      default:
        bytes[at] = random.number(2) == 0 ? '\xff' : '\0';
        break;
    }
  }
  return bytes;
}

TEST(gif_template, damaged_files_give_a_picture_or_the_fallback) {
  const quillet_tests::temporary_folder folder;
  register_all_operators();
  request.page_path = text(folder.path() + "/page.html");
  define_macro("font", text("font.gif\n3\t2\n .AB"));
  quillet_tests::random_texts random(6);
  int read = 0;
  for (int round = 0; round < 3000; ++round) {
    write_file("t.gif", mutated(seed, random));
    write_file("font.gif", mutated(seed, random));
    text error;
    evaluate("^gif_template[t.gif;replace_color\t000000\tFFFFFF\t0,0,9,0,3,9\n0\t1\t1\tAB .;made.gif]", error);
    ASSERT_EQ(error.view(), "");
    ASSERT_NE(read_gif("made.gif"), nullptr);
    if (file_content("made.gif").size() != 43) ++read;
  }
  // Neither are all of them refused, nor are all as good as the one they were made of.
  EXPECT_GT(read, 300);
  EXPECT_LT(read, 2700);
  define_macro("font", text());
  request.page_path = text();
}

// Reads a file while the process may open no more than `files` others.
gif_picture read_with_files_left(rlim_t files, std::string_view path) {
  const int next = open("/dev/null", O_RDONLY | O_CLOEXEC);
  close(next);
  rlimit kept{};
  getrlimit(RLIMIT_NOFILE, &kept);
  const rlimit few{static_cast<rlim_t>(next) + files, kept.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  gif_picture picture = read_gif(path);
  setrlimit(RLIMIT_NOFILE, &kept);
  return picture;
}

TEST(read_gif, gives_none_when_no_more_files_can_be_open) {
  const quillet_tests::temporary_folder folder;
  write_file("t.gif", seed);
  EXPECT_EQ(read_with_files_left(0, "t.gif"), nullptr);
  EXPECT_EQ(read_with_files_left(1, "t.gif"), nullptr);
  EXPECT_NE(read_with_files_left(2, "t.gif"), nullptr);
}

}  // namespace
}  // namespace quillet
