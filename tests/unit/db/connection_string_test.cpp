#include "db/connection_string.h"

#include <gtest/gtest.h>

#include <string>

namespace quillet {

namespace {

std::string shown(const text &part) { return part.is_null() ? "(null)" : std::string(part.view()); }

// "user password host port database"
std::string split(std::string_view source) {
  const connection_target target = split_connection_string(source);
  return shown(target.user) + " " + shown(target.password) + " " + shown(target.host) + " " +
         std::to_string(target.port) + " " + shown(target.database);
}

}  // namespace

TEST(ConnectionString, IsSplitIntoItsFiveParts) {
  EXPECT_EQ(split("ann:secret@db:3307/shop"), "ann secret db 3307 shop");
}

TEST(ConnectionString, WithoutAnAtSignIsUserAndPassword) {
  EXPECT_EQ(split("ann:secret"), "ann secret (null) 0 (null)");
  EXPECT_EQ(split("ann:secret/shop"), "ann secret/shop (null) 0 (null)");
}

TEST(ConnectionString, MissingPartsAreNull) {
  EXPECT_EQ(split(""), "(null) (null) (null) 0 (null)");
  EXPECT_EQ(split("ann"), "ann (null) (null) 0 (null)");
  EXPECT_EQ(split("ann@db"), "ann (null) db 0 (null)");
  EXPECT_EQ(split("ann@db/shop"), "ann (null) db 0 shop");
}

TEST(ConnectionString, EmptyPartsAreNull) { EXPECT_EQ(split(":@:/"), "(null) (null) (null) 0 (null)"); }

TEST(ConnectionString, ADatabaseNeedsNoHost) { EXPECT_EQ(split("ann@/shop"), "ann (null) (null) 0 shop"); }

TEST(ConnectionString, APortNeedsNoHost) { EXPECT_EQ(split("ann@:3307"), "ann (null) (null) 3307 (null)"); }

TEST(ConnectionString, APasswordCanHoldColonsAndSlashes) { EXPECT_EQ(split("ann:a:b/c@db"), "ann a:b/c db 0 (null)"); }

// Deliberate: neither the user nor the password can hold "@"; the password can contain ":", the database ":"
// and "/".
TEST(ConnectionString, TheFirstAtSignEndsThePassword) { EXPECT_EQ(split("ann:a@b@db"), "ann a b@db 0 (null)"); }

TEST(ConnectionString, ADatabaseCanHoldColonsAndSlashes) {
  EXPECT_EQ(split("ann@db/a:b/c@d"), "ann (null) db 0 a:b/c@d");
}

TEST(ConnectionString, ThePortIsReadAsADecimalNumber) {
  EXPECT_EQ(split("ann@db:33x"), "ann (null) db 33 (null)");
  EXPECT_EQ(split("ann@db:x"), "ann (null) db 0 (null)");
  EXPECT_EQ(split("ann@db:1:2"), "ann (null) db 1 (null)");
  EXPECT_EQ(split("ann@db:99999999999"), "ann (null) db 2147483647 (null)");
}

}  // namespace quillet
