// The configuration of a fresh process, with files of the test's own.
#pragma once

#include <gtest/gtest.h>

#include "src/base/logging.h"
#include "src/config/config.h"
#include "tests/support/fresh_state.h"
#include "tests/support/log_transcript.h"
#include "tests/support/temporary_directory.h"

namespace config_test {

class ConfigFixture : public testing::Test {
 protected:
  ConfigFixture() {
    config.SetSessionDef(&log.session());
    config.SetServerDef(&server);
  }

  /// Reads a configuration file with these bytes.
  void ReadConfiguration(const std::string& bytes) {
    path_ = folder.write_file("azurestack.conf", bytes);
    ReadConfigurationAt(path_);
  }
  void ReadConfigurationAt(const std::string& path) {
    path_ = path;
    log.session().config_path = path_.c_str();
    log.clear();
    EXPECT_EQ(config.ReadConf(), 0u);
  }

  /// The value of a setting, "-" when it is missing.
  std::string Setting(const std::string& key) const { return config.ConfValueOr(key, "-"); }

  /// Puts a credentials store in place.
  void WriteStore(const std::string& bytes, mode_t mode = 0600) {
    store_ = folder.write_file("credentials", bytes, mode);
    log.session().credentials_path = store_.c_str();
  }

  /// The value of a credential, or the status that there is instead.
  std::string Credential(const std::string& key, bool optional = false) {
    std::string value = "untouched";
    const azurestackpi::Status status = config.GetCredsVal(key, value, optional);
    if (status != azurestackpi::kOk) {
      EXPECT_EQ(value, "untouched");
      return std::to_string(status);
    }
    return value;
  }

  test_support::FreshState fresh;
  test_support::LogTranscript log;
  test_support::TemporaryDirectory folder;
  aapi_pgn_server_handle_s server;
  azurestackpi::AzureStackPi_Config& config = azurestackpi::AzureStackPi_Config::getInstance();

 private:
  std::string path_;
  std::string store_;
};

}  // namespace config_test
