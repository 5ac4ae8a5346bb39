// Requests through the client beside the same requests on one raw curl handle: nine rounds of 1,000 GETs each, both
// against the simulator in this process. Also: one connection for all of a side, and no growth over 10,000 requests.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "aapi/aapi.h"
#include "bench/ratio.h"
#include "platform/curl_wrapper.h"
#include "sim/simulator.h"
#include "src/config/config.h"
#include "src/rest/authentication.h"

namespace {

using azurestackpi::AzureStackPi_Config;
using azurestackpi::AzureStackPi_HttpClient;

constexpr int kRequests = 1000;
constexpr int kGrowthRequests = 10000;
constexpr const char* kPath = "subscriptions?api-version=2018-05-01";

void DropLine(const char* /*tag*/, const char* /*message*/, std::uint32_t /*level*/) {}

// A server opened as a host would, its settings in a private folder.
class Session {
 public:
  explicit Session(const sim::Simulator& simulator) : world_(sim::demo_world()) {
    char pattern[] = "/tmp/bench-requests-XXXXXX";
    folder_ = mkdtemp(pattern);
    config_ = folder_ / "azurestack.conf";
    credentials_ = folder_ / "credentials";
    std::ofstream(config_) << "CA_FILE_PATH=" << simulator.ca_file().string()
                           << "\nAAD_LOGIN_ENDPOINT=" << simulator.aad_host() << "\n";
    std::ofstream(credentials_) << "IdentityProvider=AAD\nTenantId=" << world_.tenant_id
                                << "\nClientId=" << world_.aad_clients[0].client_id
                                << "\nClientSecret=" << world_.aad_clients[0].client_secret
                                << "\nAuthResource=" << world_.audience << "\n";
    std::filesystem::permissions(credentials_, std::filesystem::perms::owner_read);
    definition_.log = DropLine;
    definition_.config_path = config_.c_str();
    definition_.credentials_path = credentials_.c_str();
    definition_.session_kind = AAPI_SESSION_BACKUP;
    aapi_plugin_info_t info{};
    aapi_pgn_init(AAPI_INTERFACE_V2, nullptr, &info);
    table_ = info.entry_points;
    const aapi_credentials_v1_t none{};
    table_->open_server(&definition_, ("azurestack:" + simulator.management_host()).c_str(), &none, &server_);
  }
  ~Session() {
    table_->close_server(server_);
    std::filesystem::remove_all(folder_);
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

 private:
  sim::World world_;
  std::filesystem::path folder_;
  std::filesystem::path config_;
  std::filesystem::path credentials_;
  aapi_session_def_v1_t definition_{};
  const aapi_entry_points_t* table_ = nullptr;
  aapi_server_t* server_ = nullptr;
};

// One client per request, as the plug-in's callers do.
bool SendOne(const azurestackpi::azs_rest_server_s& rest) {
  AzureStackPi_HttpClient client = azurestackpi::MakeResourceManagerClient(rest);
  azurestackpi::HttpRequest request;
  client.CreateQueryURL(rest.management_endpoint.c_str(), &request.url, kPath);
  request.headers = {"Version: 4", "Content-Type: application/json", "Accept: application/json"};
  azurestackpi::_Response response;
  return client.SendHttpRequest(request, response) == azurestackpi::kOk && client.GetHttpStatusCode() == 200;
}

std::size_t Discard(char* /*data*/, std::size_t size, std::size_t count, void* /*user*/) { return size * count; }

class RawHandle {
 public:
  RawHandle(const sim::Simulator& simulator, const std::string& token_line) : handle_(curl_easy_init()) {
    headers_ = curl_slist_append(headers_, "Version: 4");
    headers_ = curl_slist_append(headers_, "Content-Type: application/json");
    headers_ = curl_slist_append(headers_, "Accept: application/json");
    headers_ = curl_slist_append(headers_, token_line.c_str());
    headers_ = curl_slist_append(headers_, "Content-Length: 0");
    const std::string url = "https://" + simulator.management_host() + "/" + kPath;
    const std::string ca = simulator.ca_file();
    curl_easy_setopt(handle_, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle_, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(handle_, CURLOPT_CAINFO, ca.c_str());
    curl_easy_setopt(handle_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(handle_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(handle_, CURLOPT_WRITEFUNCTION, &Discard);
  }
  ~RawHandle() {
    curl_easy_cleanup(handle_);
    curl_slist_free_all(headers_);
  }
  RawHandle(const RawHandle&) = delete;
  RawHandle& operator=(const RawHandle&) = delete;

  bool SendOne() {
    long status = 0;
    return curl_easy_perform(handle_) == CURLE_OK &&
           curl_easy_getinfo(handle_, CURLINFO_RESPONSE_CODE, &status) == CURLE_OK && status == 200;
  }

 private:
  CURL* handle_;
  curl_slist* headers_ = nullptr;
};

long ResidentKib() {
  std::ifstream statm("/proc/self/statm");
  long total = 0;
  long resident = 0;
  statm >> total >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace

int main() {
  const auto simulator = std::make_unique<sim::Simulator>();
  const Session session(*simulator);
  azurestackpi::azs_rest_server_s rest;
  AzureStackPi_Config::getInstance().InitRestHandle(rest);
  bool good = SendOne(rest);
  // One connection to the login authority, one to the management endpoint, and from here on no other.
  const std::size_t connections = simulator->connections();

  azurestackpi::Status token_status = azurestackpi::kOk;
  RawHandle raw(*simulator, azurestackpi::ProcessTokens().GetAuthToken(token_status, false));
  good = bench::CompareRatio(
             "1,000 GETs beside one raw curl handle", 9, 1.3,
             [&] {
               for (int i = 0; i < kRequests; ++i) {
                 good = SendOne(rest) && good;
               }
               simulator->clear_requests();
             },
             [&] {
               for (int i = 0; i < kRequests; ++i) {
                 good = raw.SendOne() && good;
               }
               simulator->clear_requests();
             }) &&
         good;
  const std::size_t opened = simulator->connections() - connections;
  std::printf("connections opened after the first request: %zu by the raw handle, %zu by the client\n", std::size_t{1},
              opened - 1);

  const long before = ResidentKib();
  for (int i = 0; i < kGrowthRequests; ++i) {
    good = SendOne(rest) && good;
    if (i % kRequests == 0) {
      simulator->clear_requests();
    }
  }
  simulator->clear_requests();
  const long growth = ResidentKib() - before;
  std::printf("resident memory after 10,000 more requests: %+ld KiB (simulator in the same process)\n", growth);
  if (!good || opened != 1) {
    std::printf("FAILED: a request did not succeed, or a second connection was opened\n");
    return 1;
  }
  return 0;
}
