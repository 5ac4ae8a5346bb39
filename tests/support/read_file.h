// The bytes of a file, as they are.
#pragma once

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace test_support {

/// Throws when the file cannot be opened.
inline std::string read_file(const std::string& path) {
  const std::ifstream file(path, std::ios::binary);
  if (!file) {
    throw std::runtime_error("cannot read " + path);
  }
  std::ostringstream bytes;
  bytes << file.rdbuf();
  return bytes.str();
}

}  // namespace test_support
