// The plug-in's settings: configuration file, credentials store, the user of the open server, TLS validation.
#pragma once

#include <map>
#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"
#include "src/config/credentials_store.h"
#include "src/config/rest_server.h"

namespace azurestackpi {

/// One per process; open_server readies it anew for the server it opens.
class AzureStackPi_Config {
 public:
  /// Created on first use.
  static AzureStackPi_Config& getInstance();

  void SetSessionDef(const aapi_session_def_v1_t* session) { session_ = session; }
  void SetServerDef(const aapi_pgn_server_handle_s* server) { server_ = server; }
  /// The open server; null when none is.
  const aapi_pgn_server_handle_s* GetServerDef() const { return server_; }

  /// Forgets everything read before (settings, TLS, user, password), then reads the session's configuration file. A
  /// file that is missing or cannot be read is no error: defaults hold. Returns 0.
  Status ReadConf();

  /// A setting by key. Returns 0, or 6661 with the value "false".
  Status GetConfVal(const std::string& key, std::string& value) const;

  /// A setting, or fallback when the configuration has none.
  std::string ConfValueOr(const std::string& key, const std::string& fallback) const;

  /// A value of the credentials store. Returns 0; 6661 when missing, 6662 when the store cannot be read: value is then
  /// left alone, and the line that says so is an error unless the value is optional.
  Status GetCredsVal(const std::string& key, std::string& value, bool optional = false);

  /// Takes "USER:PASSWORD"; the password runs from the first ":" to the first newline or the end.
  void SetCreds(const char* text);
  std::string GetUserName() const;
  const std::string& GetPassword() const { return password_; }

  /// TLS peers are validated against CaFile when the configuration names one.
  bool ValidatePeer() const { return validate_peer_; }
  const std::string& CaFile() const { return ca_file_; }

  /// The open server's endpoints; see InitRestServerHandle.
  Status InitRestHandle(azs_rest_server_s& rest);

  /// Trims blanks at both ends, in place; the buffer holds length bytes.
  static void TrimString(char* text, std::size_t length);

  /// Percent-encodes everything but ASCII letters and digits, in place.
  static void EncodePath(std::string& path);

 private:
  std::string ca_file_;
  bool validate_peer_ = false;
  const aapi_session_def_v1_t* session_ = nullptr;
  const aapi_pgn_server_handle_s* server_ = nullptr;
  std::string user_name_;
  std::string password_;
  std::map<std::string, std::string> settings_;
  CredentialsStore credentials_;
};

}  // namespace azurestackpi
