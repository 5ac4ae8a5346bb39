#include "host/private_folder.h"

#include <stdlib.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

#include "host/errors.h"

namespace host {

namespace {

std::string make_named(const std::string& path) {
  if (::mkdir(path.c_str(), S_IRWXU) == 0) return path;
  const int why = errno;
  throw UsageError("the folder " + path + " cannot be made: " + std::generic_category().message(why) +
                   (why == EEXIST ? "; name one that does not exist yet" : "; name one where you may write"));
}

std::string make_temporary() {
  const char* given = std::getenv("TMPDIR");
  const std::string parent = given != nullptr && *given != '\0' ? given : "/tmp";
  std::string path = parent + "/azsbackup-XXXXXX";
  if (::mkdtemp(path.data()) != nullptr) return path;
  throw UsageError("no temporary folder can be made in " + parent + ": " + std::generic_category().message(errno) +
                   "; set TMPDIR to a folder where you may write");
}

}  // namespace

PrivateFolder::PrivateFolder(const std::string& keep)
    : path_(keep.empty() ? make_temporary() : make_named(keep)), keep_(!keep.empty()) {}

PrivateFolder::~PrivateFolder() {
  std::error_code ignored;
  if (!keep_) std::filesystem::remove_all(path_, ignored);
}

}  // namespace host
