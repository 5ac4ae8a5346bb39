#include "host/log_file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "host/errors.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace {

namespace fs = std::filesystem;

TEST(LogFile, IsPrivateWhateverItWasBefore) {
  const test_support::TemporaryDirectory folder;
  const host::LogFile created(folder.path("state/azsbackup/log"), 0);
  EXPECT_EQ(fs::status(folder.path("state/azsbackup/log")).permissions(), fs::perms(0600));
  EXPECT_EQ(fs::status(folder.path("state/azsbackup")).permissions(), fs::perms(0700));

  const std::string open_to_all = folder.write_file("open", "kept\n", 0644);
  host::LogFile(open_to_all, 0).write(4, "added");
  EXPECT_EQ(fs::status(open_to_all).permissions(), fs::perms(0600));
  EXPECT_TRUE(test_support::read_file(open_to_all).starts_with("kept\n"));

  fs::create_symlink(open_to_all, folder.path("link"));
  for (const std::string& path : {folder.path("link"), folder.path(""), open_to_all + "/below"}) {
    EXPECT_THROW(host::LogFile(path, 0), host::UsageError) << path;
  }
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
