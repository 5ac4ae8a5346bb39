#include "host/workload_file.h"

#include <aapi/wkldfile.h>

#include <array>
#include <bit>
#include <cstdint>
#include <fstream>

namespace host {

namespace {

class Reader {
 public:
  explicit Reader(const std::string& path) : path_(path), file_(path, std::ios::binary) {
    if (!file_) throw WorkloadError(path + " cannot be opened");
  }

  /// False at the end of the file.
  bool next(std::string& text) {
    start_ = offset_;
    std::array<char, sizeof(std::uint64_t)> bytes{};
    const std::size_t count = fill(bytes.data(), bytes.size());
    if (count == 0) return false;
    if (count < bytes.size()) fail("breaks off within a record");
    const auto length = std::bit_cast<std::uint64_t>(bytes);
    if (length == 0 || length > WKLDFILE_LONGEST_DATA) fail("holds a length that no record has");
    text.resize(length);
    if (fill(text.data(), length) < length) fail("breaks off within a record");
    if (text.find('\0') != length - 1) fail("holds a record that is no text");
    text.pop_back();
    return true;
  }

 private:
  std::size_t fill(char* target, std::size_t size) {
    file_.read(target, static_cast<std::streamsize>(size));
    if (file_.bad()) fail("cannot be read");
    const auto count = static_cast<std::size_t>(file_.gcount());
    offset_ += count;
    return count;
  }

  [[noreturn]] void fail(const char* why) const {
    throw WorkloadError("the workload file " + path_ + " " + why + " (at byte " + std::to_string(start_) + ")");
  }

  const std::string& path_;
  std::ifstream file_;
  std::uint64_t offset_ = 0;
  std::uint64_t start_ = 0;  // of the record in hand
};

}  // namespace

void read_workload_file(const std::string& path, const std::function<void(std::string_view)>& take) {
  Reader reader(path);
  for (std::string text; reader.next(text);) take(text);
}

}  // namespace host
