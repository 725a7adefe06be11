#include "core/keyed_hash.h"

#include <gtest/gtest.h>

#include <string>

namespace quillet {
namespace {

// The key of the published test vectors: the bytes 0 to 15.
constexpr hash_key counting_key = {0x0706050403020100U, 0x0f0e0d0c0b0a0908U};

std::string counting_bytes(std::size_t size) {
  std::string bytes;
  for (std::size_t i = 0; i < size; ++i) bytes += static_cast<char>(i);
  return bytes;
}

TEST(siphash, gives_the_values_of_the_reference) {
  EXPECT_EQ(siphash(counting_bytes(0), counting_key), 0xabac0158050fc4dcU);
  EXPECT_EQ(siphash(counting_bytes(1), counting_key), 0xc9f49bf37d57ca93U);
  EXPECT_EQ(siphash(counting_bytes(7), counting_key), 0xd3927d989bb11140U);
  EXPECT_EQ(siphash(counting_bytes(8), counting_key), 0x369095118d299a8eU);
  EXPECT_EQ(siphash(counting_bytes(15), counting_key), 0xd320d86d2a519956U);
  EXPECT_EQ(siphash(counting_bytes(63), counting_key), 0x9d199062b7bbb3a8U);
}

TEST(keyed_hash, stays_the_same_for_the_life_of_the_process) {
  EXPECT_EQ(keyed_hash("a name"), keyed_hash(std::string("a ") + "name"));
  EXPECT_NE(keyed_hash("a name"), keyed_hash("another"));
}

TEST(keyed_hash, has_a_secret) {
  EXPECT_NE(keyed_hash("a name"), siphash("a name", {}));
  EXPECT_NE(keyed_hash("a name"), siphash("a name", counting_key));
}

}  // namespace
}  // namespace quillet
