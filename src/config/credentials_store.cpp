#include "src/config/credentials_store.h"

#include <cstdint>

#include "src/base/logging.h"
#include "src/base/status.h"
#include "src/config/settings_file.h"

namespace azurestackpi {
namespace {

bool SameFile(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino && left.st_size == right.st_size &&
         left.st_mtim.tv_sec == right.st_mtim.tv_sec && left.st_mtim.tv_nsec == right.st_mtim.tv_nsec &&
         left.st_ctim.tv_sec == right.st_ctim.tv_sec && left.st_ctim.tv_nsec == right.st_ctim.tv_nsec;
}

const std::string* Find(const std::map<std::string, std::map<std::string, std::string>>& sections,
                        const std::string& section, const std::string& key) {
  const auto settings = sections.find(section);
  if (settings == sections.end()) {
    return nullptr;
  }
  const auto found = settings->second.find(key);
  return found == settings->second.end() ? nullptr : &found->second;
}

}  // namespace

void CredentialsStore::ReportOpenPermissions(const struct stat& facts) {
  if (!permissions_reported_ && (facts.st_mode & (S_IRGRP | S_IROTH)) != 0) {
    permissions_reported_ = true;
    const FunctionLog log("CredentialsStore");
    log.error("The credentials store %s can be read by group or others. Restrict it to its owner: chmod 600",
              path_.c_str());
  }
}

bool CredentialsStore::Load(const std::string& path) {
  struct stat facts {};
  if (stat(path.c_str(), &facts) != 0 || !S_ISREG(facts.st_mode)) {
    return false;
  }
  if (loaded_ && path_ == path && SameFile(*loaded_, facts)) {
    return true;
  }
  const FunctionLog log("CredentialsStore");
  loaded_.reset();
  path_ = path;
  sections_.clear();
  const bool read = ReadSettings(path, true, [&](const SettingLine& line) {
    if (line.cut) {
      // The beginning of a secret is of no use and would only be refused by whoever asks for it.
      log.error("Line %zu of %s is longer than %zu bytes and is not used", line.number, path.c_str(),
                kLongestSettingLine);
      return;
    }
    sections_[line.section].emplace(line.key, line.value);
  });
  if (!read) {
    return false;
  }
  loaded_ = facts;
  ReportOpenPermissions(facts);
  return true;
}

std::uint32_t CredentialsStore::Read(const char* path, const std::string& server_name, const std::string& key,
                                     std::string& value) {
  if (path == nullptr || !Load(path)) {
    return kConfigurationNotFound;
  }
  const std::string* found = server_name.empty() ? nullptr : Find(sections_, server_name, key);
  found = found != nullptr ? found : Find(sections_, std::string(), key);
  if (found == nullptr) {
    return kParameterNotFound;
  }
  value = *found;
  return kOk;
}

}  // namespace azurestackpi
