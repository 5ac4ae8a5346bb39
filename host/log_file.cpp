#include "host/log_file.h"

#include <aapi/aapi.h>
#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <ctime>
#include <exception>
#include <filesystem>
#include <system_error>

#include "host/errors.h"
#include "host/printable.h"

namespace host {

namespace {

constexpr mode_t owner_only = S_IRUSR | S_IWUSR;

[[noreturn]] void refuse(const std::string& path, const std::string& why) {
  throw UsageError("the log file " + path + " cannot be used: " + why);
}

[[noreturn]] void refuse_errno(const std::string& path) { refuse(path, std::generic_category().message(errno)); }

void create_private_folders(const std::filesystem::path& folder) {
  if (folder.empty() || std::filesystem::exists(folder)) return;
  create_private_folders(folder.parent_path());
  if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST) refuse_errno(folder);
}

// A link could lead a privileged run to somebody else's file, hence O_NOFOLLOW and the look at the owner.
FileDescriptor open_private(const std::string& path) {
  create_private_folders(std::filesystem::path(path).parent_path());
  FileDescriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOFOLLOW, owner_only));
  if (!file.valid()) refuse_errno(path);
  struct stat facts {};
  if (::fstat(file.get(), &facts) != 0) refuse_errno(path);
  if (S_ISCHR(facts.st_mode)) return file;  // such as /dev/null
  if (!S_ISREG(facts.st_mode)) refuse(path, "it is not a regular file");
  if (facts.st_uid != ::geteuid()) refuse(path, "it belongs to another user");
  if ((facts.st_mode & 077) != 0 && ::fchmod(file.get(), owner_only) != 0) refuse_errno(path);
  return file;
}

std::uint32_t lowest_level(int verbosity) {
  if (verbosity <= 0) return AAPI_LOG_ERROR;
  return verbosity == 1 ? AAPI_LOG_FLOW : AAPI_LOG_DETAIL;
}

const char* level_name(std::uint32_t level) {
  if (level >= AAPI_LOG_EXCEPTION) return "severe";
  if (level == AAPI_LOG_ERROR) return "error";
  return level == AAPI_LOG_FLOW ? "flow" : "detail";
}

std::string time_stamp() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  std::array<char, 32> text{};
  return {text.data(), std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts)};
}

}  // namespace

LogFile::LogFile(const std::string& path, int verbosity)
    : path_(path), lowest_level_(lowest_level(verbosity)), file_(open_private(path)) {}

void LogFile::write(std::uint32_t level, std::string_view text) noexcept {
  if (level < lowest_level_) return;
  try {
    const std::string line =
        time_stamp() + " " + std::to_string(::getpid()) + " " + level_name(level) + " " + printable(text) + "\n";
    write_all(file_.get(), line.data(), line.size());
  } catch (const std::exception&) {
    return;  // lost, as the header says
  }
}

std::string default_log_path() {
  if (const char* state = std::getenv("XDG_STATE_HOME"); state != nullptr && *state == '/') {
    return std::string(state) + "/azsbackup/azsbackup.log";
  }
  if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') {
    return std::string(home) + "/.local/state/azsbackup/azsbackup.log";
  }
  throw UsageError("there is no place for the log file: neither XDG_STATE_HOME nor HOME is set; give --log-file");
}

}  // namespace host
