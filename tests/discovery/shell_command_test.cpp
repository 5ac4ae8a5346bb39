// Commands run through the shell: what is redirected, and that no directory name is more than a name.
#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>

#include "aapi/wkldfile.h"
#include "tests/support/log_transcript.h"
#include "tests/support/temporary_directory.h"

namespace {

class ShellCommandTest : public testing::Test {
 protected:
  test_support::LogTranscript log;
  test_support::TemporaryDirectory folder;
};

TEST_F(ShellCommandTest, OutputAndErrorsAreDroppedUnlessRedirected) {
  const std::string out = folder.path("out");
  const std::string err = folder.path("err");
  const std::string say = "sh -c 'echo o; echo e 1>&2'";  // the '>' in here counts as a redirection of output
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  EXPECT_EQ(execute_immediate_cmd("echo o"), 0);
  EXPECT_EQ(execute_immediate_cmd("ls /no/such/file"), 2 << 8);
  EXPECT_EQ(execute_immediate_cmd(("echo o >" + out).c_str()), 0);
  EXPECT_EQ(execute_immediate_cmd(("ls /no/such/file 2>" + err).c_str()), 2 << 8);
  EXPECT_EQ(execute_immediate_cmd(("ls /no/such/file >" + out + ".2 2>" + err + ".2").c_str()), 2 << 8);
  EXPECT_EQ(execute_immediate_cmd(say.c_str()), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "o\n") << "only the command that seems to redirect its output";
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(std::filesystem::file_size(out), 2U);
  EXPECT_GT(std::filesystem::file_size(err), 0U);
  EXPECT_GT(std::filesystem::file_size(err + ".2"), 0U);
  EXPECT_EQ(execute_immediate_cmd("exit 3"), 3 << 8);
  EXPECT_EQ(execute_immediate_cmd(std::string(65536, ' ').c_str()), ENAMETOOLONG);
  EXPECT_EQ(execute_immediate_cmd(nullptr), EINVAL);
}

TEST_F(ShellCommandTest, ADirectoryNameIsOneWordWhateverItHolds) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path(""));
  for (const char* const name : {"plain/below_it.d",
                                 "with blank",
                                 "it's",
                                 "''",
                                 "$(touch pwned)",
                                 "`touch pwned`",
                                 "; touch pwned",
                                 "a\nb",
                                 "-m000",
                                 "--help",
                                 "- dash",
                                 "~",
                                 "*",
                                 "\"q\"",
                                 "back\\slash",
                                 "tab\there",
                                 "a>b",
                                 "2>x",
                                 "#",
                                 "\xc3\xa4 \xff"}) {
    EXPECT_EQ(create_out_dir(name), 0) << name;
    EXPECT_TRUE(std::filesystem::is_directory(name)) << name;
    EXPECT_FALSE(std::filesystem::exists("pwned")) << name;
  }
  std::filesystem::current_path(before);
}

TEST_F(ShellCommandTest, ADirectoryThatCannotBeMadeGivesTheShellsStatus) {
  const std::string file = folder.write_file("file", "");
  testing::internal::CaptureStderr();
  EXPECT_NE(create_out_dir((file + "/a>b 2>c").c_str()), 0);
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "a '>' in a name redirects nothing";
  EXPECT_EQ(create_out_dir((file + "/below").c_str()), 1 << 8);
  EXPECT_TRUE(log.contains(1, "Error while executing command: mkdir -p " + file + "/below, error: 256"));
  EXPECT_NE(create_out_dir(""), 0);
  EXPECT_EQ(create_out_dir(nullptr), EINVAL);
  std::string longest = folder.path("");
  while (longest.size() < 1023 - std::string("mkdir -p ").size()) {
    longest += longest.size() % 100 == 0 ? '/' : 'x';
  }
  EXPECT_EQ(create_out_dir(longest.c_str()), 0) << "1,023 bytes of command";
  EXPECT_TRUE(std::filesystem::is_directory(longest));
  EXPECT_EQ(create_out_dir((longest + "x").c_str()), ENAMETOOLONG);
  EXPECT_FALSE(std::filesystem::exists(longest + "x"));
}

}  // namespace
