// Requests through the client beside the same requests on one raw curl handle: nine rounds of 1,000 GETs each, both
// against the simulator in this process. Also: one connection for all of a side, and no growth over 10,000 requests.
#include <cstdio>
#include <string>

#include "bench/memory.h"
#include "bench/open_session.h"
#include "bench/ratio.h"
#include "bench/raw_handle.h"
#include "src/config/config.h"
#include "src/rest/authentication.h"

namespace {

using azurestackpi::AzureStackPi_HttpClient;

constexpr int kRequests = 1000;
constexpr int kGrowthRequests = 10000;
constexpr long kMostGrowthKib = 1024;
constexpr const char* kPath = "subscriptions?api-version=2018-05-01";

// One client per request, as the plug-in's callers do.
bool SendOne(const azurestackpi::azs_rest_server_s& rest) {
  AzureStackPi_HttpClient client = azurestackpi::MakeResourceManagerClient(rest);
  azurestackpi::HttpRequest request;
  client.CreateQueryURL(rest.management_endpoint.c_str(), &request.url, kPath);
  request.headers = {"Version: 4", "Content-Type: application/json", "Accept: application/json"};
  azurestackpi::_Response response;
  return client.SendHttpRequest(request, response) == azurestackpi::kOk && client.GetHttpStatusCode() == 200;
}

template <typename Send>
bool SendMany(int count, Send&& send) {
  bool good = true;
  for (int i = 0; i < count; ++i) {
    good = send() && good;
  }
  return good;
}

}  // namespace

int main() {
  const sim::World world = sim::demo_world();
  sim::Simulator simulator;
  const bench::OpenSession session(simulator, world);
  azurestackpi::azs_rest_server_s rest;
  azurestackpi::AzureStackPi_Config::getInstance().InitRestHandle(rest);
  bool good = SendOne(rest);
  // From here on the client has its connections: one to the login authority, one to the management endpoint.
  const std::size_t connections = simulator.connections();

  azurestackpi::Status token_status = azurestackpi::kOk;
  bench::RawHandle raw(simulator.ca_file(), azurestackpi::ProcessTokens().GetAuthToken(token_status, false));
  const std::string url = "https://" + simulator.management_host() + "/" + kPath;
  const bool within = bench::CompareRatio(
      "1,000 GETs beside one raw curl handle", 9, 1.3,
      [&] {
        good = SendMany(kRequests, [&] { return SendOne(rest); }) && good;
        simulator.clear_requests();
      },
      [&] {
        good = SendMany(kRequests, [&] { return raw.Get(url); }) && good;
        simulator.clear_requests();
      });
  const std::size_t opened = simulator.connections() - connections;
  std::printf("connections opened since the first request: %zu, one of them the raw handle's\n", opened);

  const long before = bench::ResidentKib();
  for (int i = 0; i < kGrowthRequests; i += kRequests) {
    good = SendMany(kRequests, [&] { return SendOne(rest); }) && good;
    simulator.clear_requests();
  }
  const long growth = bench::ResidentKib() - before;
  std::printf("resident memory after 10,000 more requests: %+ld KiB, at most %ld\n", growth, kMostGrowthKib);
  if (!good || opened != 1 || growth > kMostGrowthKib) {
    std::printf("FAILED: a request did not succeed, a second connection was opened, or memory grew\n");
    return 1;
  }
  return within ? 0 : 1;
}
