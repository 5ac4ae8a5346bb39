// The credentials store: secrets and identities of servers, kept apart from the configuration.
#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>

namespace azurestackpi {

/// Reads a store by key. What was read is kept until the file changes, since every request asks for its proxy.
class CredentialsStore {
 public:
  /// Sets value to that of key: the one in the section of the server ("[name]"; name without "azurestack:") if there
  /// is one, else the one before all sections. Returns 0, 6661 when the key is missing, 6662 when the store cannot be
  /// read. A key given twice keeps its first value.
  std::uint32_t Read(const char* path, const std::string& server_name, const std::string& key, std::string& value);

  /// Forgets what was read, so that the next read checks the file's permissions anew and reports them once.
  void Reset() { *this = CredentialsStore(); }

 private:
  using Settings = std::map<std::string, std::string>;

  bool Load(const std::string& path);
  void ReportOpenPermissions(const struct stat& facts);

  std::optional<struct stat> loaded_;  // of the file whose settings are held
  std::string path_;
  std::map<std::string, Settings> sections_;
  bool permissions_reported_ = false;
};

}  // namespace azurestackpi
