// The built plug-in, loaded as a bare host loads it: every symbol bound at once, none of them shared.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "aapi/aapi.h"
#include "tests/support/log_transcript.h"

namespace api_test {

class LoadedLibrary {
 public:
  /// Throws when the library cannot be loaded.
  LoadedLibrary();

  /// The address of an exported symbol, null when there is none.
  void* symbol(const std::string& name) const;

  /// Calls aapi_pgn_init.
  std::uint32_t init(std::uint32_t version, aapi_plugin_info_t* info) const;

  const aapi_entry_points_t& table(std::uint32_t version) const;

 private:
  struct Unloader {
    void operator()(void* library) const;
  };
  std::unique_ptr<void, Unloader> library_;
};

/// A loaded library whose log lines are kept.
class LoadedLibraryTest : public testing::Test {
 protected:
  /// Opens a server by that whole name ("azurestack:...") into server; closes the one open before.
  std::uint32_t Open(const std::string& server_name);
  ~LoadedLibraryTest() override { table.close_server(server); }

  LoadedLibrary library;
  const aapi_entry_points_t& table = library.table(AAPI_INTERFACE_V2);
  test_support::LogTranscript log;
  aapi_server_t* server = nullptr;
};

}  // namespace api_test
