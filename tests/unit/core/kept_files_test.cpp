#include "core/kept_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "core/file.h"
#include "support.h"

namespace quillet {

namespace {

class kept_files : public testing::Test {
 protected:
  kept_files() {
    quillet::keep_files();
    put("some bytes");
  }
  ~kept_files() override { unlink(path.c_str()); }

  void put(const char *bytes) const { ASSERT_TRUE(write_text_file(path, bytes, false).is_null()); }

  // As if the file had been read so many seconds after it was written.
  void keep_after(int seconds, const char *bytes = "some bytes") const {
    const open_file file(path, O_RDONLY);
    struct stat status {};
    ASSERT_EQ(fstat(file, &status), 0);
    keep_file(path, false, file, state_of(status), status.st_ctim.tv_sec + seconds, bytes);
  }
  [[nodiscard]] bool is_kept() const { return kept_file(path, false) != nullptr; }

  std::string path = testing::TempDir() + "kept-" + std::to_string(getpid());
};

}  // namespace

TEST_F(kept_files, a_file_that_has_not_changed) {
  keep_after(10);
  EXPECT_EQ(kept_file(path, false)->view(), "some bytes");
  EXPECT_EQ(kept_file(path, false)->view(), "some bytes");
}

TEST_F(kept_files, the_same_file_read_otherwise_is_another_one) {
  keep_after(10);
  EXPECT_EQ(kept_file(path, true), nullptr);
}

TEST_F(kept_files, one_that_changed_less_than_two_seconds_before_is_not_kept) {
  keep_after(2);
  EXPECT_FALSE(is_kept());
  keep_after(3);
  EXPECT_TRUE(is_kept());
}

TEST_F(kept_files, other_bytes_of_the_same_number) {
  keep_after(10);
  put("same bytes");
  EXPECT_FALSE(is_kept());
}

TEST_F(kept_files, other_bytes_with_the_old_time) {
  keep_after(10);
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  put("same bytes");
  const timespec times[] = {status.st_atim, status.st_mtim};
  ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
  EXPECT_FALSE(is_kept());
}

TEST_F(kept_files, another_file_in_its_place) {
  keep_after(10);
  const std::string other = path + "-other";
  ASSERT_TRUE(write_text_file(other, "same bytes", false).is_null());
  ASSERT_EQ(std::rename(other.c_str(), path.c_str()), 0);
  EXPECT_FALSE(is_kept());
}

TEST_F(kept_files, none_in_its_place) {
  keep_after(10);
  unlink(path.c_str());
  EXPECT_FALSE(is_kept());
}

TEST_F(kept_files, a_file_of_a_system_that_is_no_disk_is_not_kept) {
  const std::string version = "/proc/version";
  const open_file file(version, O_RDONLY);
  struct stat status {};
  ASSERT_EQ(fstat(file, &status), 0);
  keep_file(version, false, file, state_of(status), status.st_ctim.tv_sec + 10, "bytes");
  EXPECT_EQ(kept_file(version, false), nullptr);
}

TEST_F(kept_files, a_large_one_is_not_kept) {
  const std::string large(1048577, 'x');
  keep_after(10, large.c_str());
  EXPECT_FALSE(is_kept());
  keep_after(10, large.c_str() + 1);
  EXPECT_TRUE(is_kept());
}

TEST_F(kept_files, there_are_not_too_many) {
  const std::string bytes(1000000, 'x');
  keep_after(10);
  const open_file file(path, O_RDONLY);
  struct stat status {};
  ASSERT_EQ(fstat(file, &status), 0);
  const auto keep_others = [&](int count) {
    for (int k = 0; k < count; ++k) {
      keep_file("other" + std::to_string(k), false, file, state_of(status), status.st_ctim.tv_sec + 10, bytes);
    }
  };
  keep_others(3);
  EXPECT_TRUE(is_kept());
  keep_others(5);
  EXPECT_FALSE(is_kept());
}

}  // namespace quillet
