#include "src/config/config.h"

#include <algorithm>
#include <cstring>
#include <memory>

#include "platform/bounded_text.h"
#include "src/base/logging.h"
#include "src/base/process_state.h"
#include "src/base/secrets.h"
#include "src/base/text.h"
#include "src/base/url_text.h"
#include "src/config/settings_file.h"

namespace azurestackpi {
namespace {

constexpr std::size_t kLongestSetting = 1023;

ProcessValue<std::unique_ptr<AzureStackPi_Config>> instance("configuration");

// By its name; the one setting with "KEY" in it that is none is told apart.
bool NamesSecret(const std::string& key) {
  const std::string name = ToLower(key);
  return name.find("secret") != std::string::npos || name.find("password") != std::string::npos ||
         (name.find("key") != std::string::npos && name != "fetch_storage_keys");
}

}  // namespace

AzureStackPi_Config& AzureStackPi_Config::getInstance() {
  if (!*instance) {
    *instance = std::make_unique<AzureStackPi_Config>();
  }
  return **instance;
}

Status AzureStackPi_Config::ReadConf() {
  const FunctionLog log(__func__);
  settings_.clear();
  ca_file_.clear();
  validate_peer_ = false;
  user_name_.clear();
  password_.clear();
  credentials_.Reset();
  ForgetCredentials();
  const char* const path = session_ == nullptr ? nullptr : session_->config_path;
  log.detail("Config file name %s", path == nullptr ? "(none)" : path);
  const bool read =
      path != nullptr && ReadSettings(path, false, [&](const SettingLine& line) {
        if (line.cut) {
          log.error("Line %zu of %s is longer than %zu bytes; the rest is dropped", line.number, path,
                    kLongestSettingLine);
        }
        if (line.key.size() > kLongestSetting || line.value.size() > kLongestSetting) {
          log.error("The key or value in line %zu of %s is longer than %zu bytes and is cut", line.number, path,
                    kLongestSetting);
        }
        const std::string key = line.key.substr(0, kLongestSetting);
        const std::string value = line.value.substr(0, kLongestSetting);
        const bool secret = NamesSecret(key);
        log.flow("Config file, Key = %s and Value = %s", key.c_str(), secret ? kSecretMask.data() : value.c_str());
        if (settings_.emplace(key, value).second && key == "CA_FILE_PATH") {
          ca_file_ = value;
          validate_peer_ = true;
        }
      });
  if (!read) {
    log.detail("%s : status %d", StatusText(kConfigurationNotFound).c_str(), static_cast<int>(kConfigurationNotFound));
  }
  return kOk;
}

Status AzureStackPi_Config::GetConfVal(const std::string& key, std::string& value) const {
  const auto found = settings_.find(key);
  if (found != settings_.end()) {
    value = found->second;
    return kOk;
  }
  value = "false";
  const FunctionLog log(__func__);
  log.detail("%s:%s status %d", key.c_str(), value.c_str(), static_cast<int>(kParameterNotFound));
  return kParameterNotFound;
}

std::string AzureStackPi_Config::ConfValueOr(const std::string& key, const std::string& fallback) const {
  std::string value;
  return GetConfVal(key, value) == kOk ? value : fallback;
}

Status AzureStackPi_Config::GetCredsVal(const std::string& key, std::string& value, bool optional) {
  const char* const path = session_ == nullptr ? nullptr : session_->credentials_path;
  const std::string server_name = server_ == nullptr ? std::string() : server_->server_name;
  const Status status = credentials_.Read(path, server_name, key, value);
  if (status == kOk) {
    if (NamesSecret(key)) {
      RememberSecret(SecretKind::kCredential, value);
    }
    return kOk;
  }
  const FunctionLog log(__func__);
  const std::string text = StatusText(status);
  if (status == kParameterNotFound && optional) {
    log.flow("Value not found for %s, return status %d : %s ", key.c_str(), static_cast<int>(status), text.c_str());
  } else {
    log.error("Failed to read value of %s, return status %d : %s ", key.c_str(), static_cast<int>(status),
              text.c_str());
  }
  return status;
}

void AzureStackPi_Config::SetCreds(const char* text) {
  const std::string credentials = getValue(text);
  const std::size_t colon = std::min(credentials.find(':'), credentials.size());
  const std::size_t begin = std::min(colon + 1, credentials.size());
  const std::size_t end = std::min(credentials.find('\n', begin), credentials.size());
  user_name_ = credentials.substr(0, colon);
  password_ = credentials.substr(begin, end - begin);
  RememberSecret(SecretKind::kCredential, password_);
}

std::string AzureStackPi_Config::GetUserName() const {
  const FunctionLog log(__func__);
  log.detail("username : %s", user_name_.c_str());
  return user_name_;
}

Status AzureStackPi_Config::InitRestHandle(azs_rest_server_s& rest) { return InitRestServerHandle(server_, rest); }

void AzureStackPi_Config::TrimString(char* text, std::size_t length) {
  if (text != nullptr && length != 0) {
    V_strlcpy(text, trimSpace(text, " \t").c_str(), length);
  }
}

void AzureStackPi_Config::EncodePath(std::string& path) { path = EncodeAllButAlphanumeric(path); }

}  // namespace azurestackpi
