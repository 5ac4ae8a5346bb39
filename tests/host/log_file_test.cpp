#include "host/log_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "host/errors.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

mode_t mode_of(const std::string& path) {
  struct stat facts {};
  EXPECT_EQ(::stat(path.c_str(), &facts), 0) << path;
  return facts.st_mode & 07777;
}

TEST(LogFile, IsPrivateWhateverItWasBefore) {
  const test_support::TemporaryDirectory folder;
  const std::string fresh = folder.path("state/azsbackup/log");
  const host::LogFile created(fresh, 0);
  EXPECT_EQ(mode_of(fresh), 0600U);
  EXPECT_EQ(mode_of(folder.path("state/azsbackup")), 0700U);

  const std::string open_to_all = folder.write_file("open", "kept\n");
  std::filesystem::permissions(open_to_all, std::filesystem::perms(0644));
  host::LogFile(open_to_all, 0).write(4, "added");
  EXPECT_EQ(mode_of(open_to_all), 0600U);
  EXPECT_EQ(test_support::read_file(open_to_all).rfind("kept\n", 0), 0U);
}

TEST(LogFile, RefusesLinksAndFolders) {
  const test_support::TemporaryDirectory folder;
  const std::string target = folder.write_file("target", "");
  std::filesystem::create_symlink(target, folder.path("link"));
  EXPECT_THROW(host::LogFile(folder.path("link"), 0), host::UsageError);
  EXPECT_THROW(host::LogFile(folder.path(""), 0), host::UsageError);
  EXPECT_THROW(host::LogFile(target + "/below", 0), host::UsageError);
  EXPECT_NO_THROW(host::LogFile("/dev/null", 0));
}

TEST(LogFile, VerbosityChoosesLevelsAndEachEntryIsOneLine) {
  const test_support::TemporaryDirectory folder;
  const std::size_t lines_at[] = {2, 3, 5};
  for (int verbosity = 0; verbosity < 3; ++verbosity) {
    const std::string path = folder.path("log" + std::to_string(verbosity));
    host::LogFile log(path, verbosity);
    for (std::uint32_t level = 1; level <= 5; ++level) log.write(level, "a\nb\x1b[0m\xc2\x9b\n");
    const std::string text = test_support::read_file(path);
    EXPECT_EQ(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')), lines_at[verbosity]);
    EXPECT_NE(text.find(" a\\nb\\x1b[0m\\x9b\n"), std::string::npos) << text;
  }
}

}  // namespace
