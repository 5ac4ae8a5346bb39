// The configuration file and the credentials store, whatever their bytes.
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

#include "src/config/config.h"
#include "src/config/settings_file.h"

namespace {

// A file without a place on disk, rewritten for every input.
int File() {
  static const int descriptor = memfd_create("settings", MFD_CLOEXEC);
  return descriptor;
}

bool Fill(const std::uint8_t* data, std::size_t size) {
  return ftruncate(File(), 0) == 0 && pwrite(File(), data, size, 0) == static_cast<ssize_t>(size);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (!Fill(data, size)) {
    return 0;
  }
  static const std::string path = "/proc/self/fd/" + std::to_string(File());
  aapi_session_def_v1_t session{};
  session.config_path = path.c_str();
  session.credentials_path = path.c_str();
  aapi_pgn_server_handle_s server;
  server.server_name = "a.b.c.d";

  auto& config = azurestackpi::AzureStackPi_Config::getInstance();
  config.SetSessionDef(&session);
  config.SetServerDef(&server);
  config.ReadConf();
  azurestackpi::ReadSettings(path, false, [&](const azurestackpi::SettingLine& line) {
    std::string value;
    const std::string key = line.key.substr(0, 1023);
    if (config.GetConfVal(key, value) != azurestackpi::kOk || line.key.size() > azurestackpi::kLongestSettingLine) {
      std::abort();  // every key of the file is known afterwards
    }
  });
  std::string value;
  static_cast<void>(config.GetCredsVal("ClientSecret", value));
  config.SetSessionDef(nullptr);
  config.SetServerDef(nullptr);
  return 0;
}
