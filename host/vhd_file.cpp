#include "host/vhd_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <numeric>
#include <string_view>
#include <system_error>
#include <utility>

#include "host/errors.h"

namespace host {

namespace {

// Where a footer's fields stand. All numbers are big-endian.
constexpr std::size_t footer_size = 512;
constexpr std::size_t current_size_at = 48;
constexpr std::size_t type_at = 60;
constexpr std::size_t checksum_at = 64;
constexpr std::size_t checksum_size = 4;
constexpr std::uint64_t fixed_disk = 2;
constexpr std::string_view cookie = "conectix";

[[noreturn]] void fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

std::uint64_t number_at(std::string_view footer, std::size_t at, std::size_t bytes) {
  std::uint64_t value = 0;
  for (const char byte : footer.substr(at, bytes)) value = value << 8U | static_cast<unsigned char>(byte);
  return value;
}

// The complement of the sum of all bytes, the checksum's own left out.
std::uint32_t checksum(std::string footer) {
  footer.replace(checksum_at, checksum_size, checksum_size, '\0');
  return ~std::accumulate(footer.begin(), footer.end(), std::uint32_t{0},
                          [](std::uint32_t sum, char byte) { return sum + static_cast<unsigned char>(byte); });
}

}  // namespace

VhdFile::VhdFile(std::string path, std::uint64_t size)
    : path_(std::move(path)), temporary_path_(path_ + ".XXXXXX"), size_(size) {
  struct stat status {};
  if (::lstat(path_.c_str(), &status) == 0) throw UsageError(path_ + " is there already; it is not overwritten");
  if (size > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) throw UsageError("no file is so large");
  file_ = FileDescriptor(::mkstemp(temporary_path_.data()));  // mode 0600
  if (!file_.valid()) fail("cannot make a file beside " + path_);
  if (::ftruncate(file_.get(), static_cast<off_t>(size)) != 0) {
    const int error = errno;
    ::unlink(temporary_path_.c_str());  // no destructor runs for what was not made
    throw std::system_error(error, std::generic_category(), "cannot make a file of that size");
  }
}

VhdFile::~VhdFile() { ::unlink(temporary_path_.c_str()); }

void VhdFile::write(std::uint64_t offset, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t written = ::pwrite(file_.get(), data, size, static_cast<off_t>(offset));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) fail("cannot write " + path_);
    data += written;
    size -= static_cast<std::size_t>(written);
    offset += static_cast<std::uint64_t>(written);
  }
}

std::string VhdFile::footer_problem() const {
  if (size_ < footer_size) return "it is too short for a footer";
  std::string footer(footer_size, '\0');
  const ssize_t count = ::pread(file_.get(), footer.data(), footer.size(), static_cast<off_t>(size_ - footer_size));
  if (count < 0) fail("cannot read " + path_);
  if (static_cast<std::size_t>(count) != footer_size || !footer.starts_with(cookie)) return "it has no VHD footer";
  if (number_at(footer, checksum_at, checksum_size) != checksum(footer)) return "its VHD footer is damaged";
  if (number_at(footer, type_at, 4) != fixed_disk) return "its VHD footer is not of a fixed disk";
  if (number_at(footer, current_size_at, 8) != size_ - footer_size) return "its VHD footer tells another size";
  return "";
}

// Neither call replaces what has the name already. File systems of removable drives and shares may know one of them
// only; where the second name was made, the first one goes with the object.
void VhdFile::finish() {
  if (::fsync(file_.get()) != 0) fail("cannot write " + path_);
  const bool named = ::renameat2(AT_FDCWD, temporary_path_.c_str(), AT_FDCWD, path_.c_str(), RENAME_NOREPLACE) == 0 ||
                     (errno != EEXIST && ::link(temporary_path_.c_str(), path_.c_str()) == 0);
  if (!named && errno == EEXIST) throw UsageError(path_ + " is there already; it is not overwritten");
  if (!named) fail("cannot name the file " + path_);
  const std::string folder = std::filesystem::path(path_).parent_path();
  const FileDescriptor opened(::open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (opened.valid()) ::fsync(opened.get());  // the name; a file system that cannot do that is none to wait for
}

}  // namespace host
