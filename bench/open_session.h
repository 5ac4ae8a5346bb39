// A server opened through the entry table as a host would, its settings in a private folder.
#pragma once

#include <filesystem>

#include "aapi/aapi.h"
#include "sim/simulator.h"

namespace bench {

class OpenSession {
 public:
  /// world: the simulator's. more_settings: further lines of the configuration. Throws std::runtime_error.
  OpenSession(const sim::Simulator& simulator, const sim::World& world, const std::string& more_settings = {},
              std::uint32_t session_kind = AAPI_SESSION_BACKUP);
  ~OpenSession();
  OpenSession(const OpenSession&) = delete;
  OpenSession& operator=(const OpenSession&) = delete;

  const aapi_entry_points_t& table() const { return *table_; }
  aapi_server_t* server() const { return server_; }
  std::filesystem::path folder() const { return folder_; }

 private:
  std::filesystem::path folder_;
  std::filesystem::path config_;
  std::filesystem::path credentials_;
  aapi_session_def_v1_t definition_{};
  const aapi_entry_points_t* table_ = nullptr;
  aapi_server_t* server_ = nullptr;
};

}  // namespace bench
