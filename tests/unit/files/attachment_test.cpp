#include "files/attachment.h"

#include <gtest/gtest.h>

#include <string>

namespace quillet {
namespace {

using namespace std::string_view_literals;

// The lines between "begin" and the closing ones.
std::string encoded(std::string_view data) {
  text out;
  append_attachment(data, "f", out);
  const std::string_view block = out;
  const std::string_view front =
      "Content-Type: Application/Octet-Stream\nContent-Transfer-Encoding: x-uuencode\n"
      "Content-Disposition: attachment; filename=\"f\"\n\nbegin 644 f\n";
  const std::string_view end = "`\nend\n";
  EXPECT_TRUE(block.starts_with(front));
  EXPECT_TRUE(block.ends_with(end));
  return std::string(block.substr(front.size(), block.size() - front.size() - end.size()));
}

TEST(append_attachment, encodes_three_bytes_as_four) { EXPECT_EQ(encoded("Cat"), "#0V%T\n"); }

TEST(append_attachment, fills_a_last_group_of_one_or_two_bytes_with_grave_accents) {
  EXPECT_EQ(encoded("C"), "!0P``\n");
  EXPECT_EQ(encoded("Ca"), "\"0V$`\n");
  EXPECT_EQ(encoded("CatC"), "$0V%T0P``\n");
}

TEST(append_attachment, maps_0_to_a_grave_accent_and_63_to_an_underscore) {
  EXPECT_EQ(encoded("\0\0\0"sv), "#````\n");
  EXPECT_EQ(encoded("\xFF\xFF\xFF"), "#____\n");
}

TEST(append_attachment, writes_45_bytes_on_a_line) {
  const std::string line = "M" + std::string(60, '`') + "\n";
  EXPECT_EQ(encoded(std::string(44, '\0')), "L" + std::string(60, '`') + "\n");
  EXPECT_EQ(encoded(std::string(45, '\0')), line);
  EXPECT_EQ(encoded(std::string(46, '\0')), line + "!````\n");
  EXPECT_EQ(encoded(std::string(90, '\0')), line + line);
}

TEST(append_attachment, of_no_data_is_nothing) {
  text out;
  append_attachment({}, "f", out);
  EXPECT_TRUE(out.is_null());
}

TEST(append_attachment, turns_control_bytes_into_spaces_in_the_name) {
  text out;
  append_attachment("x", "a\r\nBcc: b", out);
  EXPECT_NE(out.view().find("filename=\"a  Bcc: b\"\n\nbegin 644 a  Bcc: b\n"), std::string_view::npos);
}

TEST(attachment_type, is_found_by_the_extension_in_upper_or_lower_case) {
  EXPECT_EQ(attachment_type("photo.JPG"), "image/jpeg");
  EXPECT_EQ(attachment_type("a.b.gif"), "image/gif");
}

TEST(attachment_type, of_every_known_extension) {
  constexpr std::string_view known[][2] = {
      {"gif", "image/gif"},          {"jpg", "image/jpeg"},      {"jpeg", "image/jpeg"},
      {"tif", "image/tiff"},         {"tiff", "image/tiff"},     {"cgm", "image/cgm"},
      {"au", "audio/basic"},         {"mov", "video/quicktime"}, {"qt", "video/quicktime"},
      {"mpeg", "video/mpeg"},        {"mpg", "video/mpeg"},      {"mp2", "video/mpeg"},
      {"mp3", "video/mpeg"},         {"zip", "application/zip"}, {"ps", "application/postscript"},
      {"doc", "application/msword"},
  };
  for (const auto &[extension, type] : known) EXPECT_EQ(attachment_type("x." + std::string(extension)), type);
}

TEST(attachment_type, of_any_other_name_has_capitals) {
  EXPECT_EQ(attachment_type("data.bin"), "Application/Octet-Stream");
  EXPECT_EQ(attachment_type("gif"), "Application/Octet-Stream");
  EXPECT_EQ(attachment_type("gif."), "Application/Octet-Stream");
  EXPECT_EQ(attachment_type(".gifs"), "Application/Octet-Stream");
  EXPECT_EQ(attachment_type(""), "Application/Octet-Stream");
}

}  // namespace
}  // namespace quillet
