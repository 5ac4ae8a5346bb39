#include "host/given_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <system_error>

#include "host/errors.h"

namespace host {

namespace {

[[noreturn]] void refuse(const std::string& path, int why) {
  throw UsageError(path + " cannot be opened: " + std::generic_category().message(why));
}

}  // namespace

FileDescriptor open_given_file(const std::string& path) {
  FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  struct stat facts {};
  if (!file.valid() || ::fstat(file.get(), &facts) != 0) refuse(path, errno);
  if (S_ISDIR(facts.st_mode)) refuse(path, EISDIR);
  return file;
}

bool others_can_read(const FileDescriptor& file) {
  struct stat facts {};
  return ::fstat(file.get(), &facts) == 0 && (facts.st_mode & (S_IRGRP | S_IROTH)) != 0;
}

}  // namespace host
