#include "cgi/response.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

TEST(header_text, turns_control_bytes_into_spaces_and_keeps_all_others) {
  for (int byte = 1; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const char expected = byte < 32 || byte == 127 ? ' ' : c;
    EXPECT_EQ(header_text({&c, 1}).view(), std::string_view(&expected, 1)) << byte;
  }
}

}  // namespace
}  // namespace quillet
