// A disk's file: sparse, private, whole or not there.
#include "host/vhd_file.h"

#include <gmock/gmock.h>

#include <filesystem>

#include "host/errors.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

TEST(VhdFile, IsThereOnlyWhenItIsWhole) {
  const test_support::TemporaryDirectory folder;
  const std::string path = folder.path("disk.vhd");
  {
    host::VhdFile given_up(path, 4096);
    given_up.write(0, "abc", 3);
  }
  EXPECT_TRUE(fs::is_empty(folder.path("")));
  host::VhdFile file(path, 64 << 20);
  file.write(1 << 20, "abc", 3);
  EXPECT_FALSE(fs::exists(path));
  EXPECT_EQ(file.footer_problem(), "it has no VHD footer");
  folder.write_file("disk.vhd", "mine");  // somebody was quicker
  EXPECT_THROW(file.finish(), host::UsageError);
  EXPECT_THROW(host::VhdFile(path, 512), host::UsageError);
  EXPECT_EQ(test_support::read_file(path), "mine");
  EXPECT_THROW(host::VhdFile(folder.path("absent/disk.vhd"), 512), std::system_error);
}

}  // namespace
