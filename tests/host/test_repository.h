// Tests with a repository of their own. Its key is opened at once: the one that restic makes takes most of a second
// each time, which is meant to slow down who guesses passwords.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "host/restic.h"
#include "tests/host/program.h"
#include "tests/support/read_file.h"
#include "tests/support/temporary_directory.h"

namespace host_test {

/// Copies the empty repository of the tests' data to where there is none yet; its password is "hunter2".
inline void make_repository(const std::string& folder) {
  std::filesystem::copy(TEST_DATA "/repository", folder, std::filesystem::copy_options::recursive);
}

/// Inverts bytes of the largest pack in it, which makes restic fail at once; a pack that is too short it reads for most
/// of a minute.
inline void damage_repository(const std::string& folder) {
  std::filesystem::path largest;
  for (const auto& file : std::filesystem::recursive_directory_iterator(folder + "/data")) {
    if (file.is_regular_file() && (largest.empty() || file.file_size() > file_size(largest))) largest = file.path();
  }
  std::string bytes = test_support::read_file(largest);
  for (std::size_t at = 0; at < bytes.size() / 2; at += 64) bytes[at] = static_cast<char>(~bytes[at]);
  std::filesystem::permissions(largest, std::filesystem::perms::owner_all);
  std::ofstream(largest, std::ios::binary) << bytes;
}

/// A folder with an empty repository, and azsbackup told of it.
class RepositoryTest : public testing::Test {
 protected:
  RepositoryTest() { make_repository(repository_); }

  Outcome run(const std::vector<std::string>& arguments, const std::vector<std::string>& more_environment = {}) const {
    std::vector<std::string> environment = environment_;
    environment.insert(environment.end(), more_environment.begin(), more_environment.end());
    return run_azsbackup(arguments, folder_.path("home"), environment);
  }
  /// Empty when it came to none.
  std::string log() const { return std::filesystem::exists(log_) ? test_support::read_file(log_) : ""; }

  const test_support::TemporaryDirectory folder_;
  const std::string repository_ = folder_.path("repository");
  const std::string log_ = folder_.path("log");
  const std::string password_ = folder_.write_file("password", "hunter2\n");
  const host::Restic restic_{{repository_, password_, ""}};
  std::vector<std::string> environment_{"AZSBACKUP_REPO=" + repository_, "AZSBACKUP_REPO_PASSWORD_FILE=" + password_,
                                        "AZSBACKUP_LOG_FILE=" + log_, "TMPDIR=" + folder_.path("")};
};

}  // namespace host_test
