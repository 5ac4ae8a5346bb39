// A server opened through the entry table against a running simulator, with fake time and every log line kept.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "sim/simulator.h"
#include "src/rest/authentication.h"
#include "src/rest/http_client.h"
#include "tests/support/fake_clock.h"
#include "tests/support/fresh_state.h"
#include "tests/support/log_transcript.h"
#include "tests/support/temporary_directory.h"

namespace transport_test {

using Settings = std::map<std::string, std::string>;

/// What the subject is told; a test changes it before Open.
struct ServerSetup {
  Settings config;
  Settings credentials;
  std::string user;
  std::string server_name;
};

class OpenServer : public testing::Test {
 protected:
  /// Of the demonstration world, or of the options' own.
  explicit OpenServer(sim::Options options = {});
  ~OpenServer() override;

  /// The demonstration world's AAD client, with TLS validation by the simulator's authority.
  ServerSetup AadSetup() const;
  ServerSetup AdfsSetup() const;

  /// Opens the server; returns the status of open_server.
  azurestackpi::Status Open(const ServerSetup& setup);

  /// A GET of the subscriptions, as most tests send.
  azurestackpi::HttpRequest Request(const std::string& path = "/subscriptions?api-version=2018-05-01") const;
  azurestackpi::Status Send(const azurestackpi::HttpRequest& request);

  /// Requests recorded for the management endpoint and for the login hosts.
  std::vector<sim::RecordedRequest> ManagementRequests() const;
  std::vector<sim::RecordedRequest> LoginRequests() const;

  /// Answers every request whose target matches, from the first-th on and so many times.
  void Answer(const std::string& target, int status, sim::Headers headers = {}, std::string body = {},
              std::uint64_t first = 1, std::uint64_t times = 1);

  const sim::World world;
  const std::string aad_secret = "demo+client/secret=42";
  const std::string adfs_password = "demo & password 100%";

  test_support::FreshState fresh;
  test_support::FakeClock clock;
  test_support::LogTranscript log;
  test_support::TemporaryDirectory folder;
  sim::Simulator simulator;
  azurestackpi::_Response response;
  long http_status = 0;
  aapi_server_t* server = nullptr;
  const aapi_entry_points_t* table = nullptr;

 private:
  std::string config_path_;
  std::string credentials_path_;
};

}  // namespace transport_test
