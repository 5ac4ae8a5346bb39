// A repository whose key is opened at once. The one that restic makes takes most of a second each time, which is meant
// to slow down who guesses passwords.
#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>

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
  std::filesystem::permissions(largest, std::filesystem::perms::owner_all);
  std::fstream pack(largest, std::ios::in | std::ios::out | std::ios::binary);
  for (std::uintmax_t at = 0; at < file_size(largest) / 2; at += 64) {
    pack.seekg(static_cast<std::streamoff>(at));
    const auto inverted = static_cast<char>(~pack.get());
    pack.seekp(static_cast<std::streamoff>(at));
    pack.put(inverted);
  }
}

}  // namespace host_test
