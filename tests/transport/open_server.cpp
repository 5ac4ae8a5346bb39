#include "tests/transport/open_server.h"

#include <utility>

#include "platform/bounded_text.h"

namespace transport_test {

using azurestackpi::Status;

namespace {

std::string Lines(const Settings& settings) {
  std::string text;
  for (const auto& [key, value] : settings) {
    text.append(key).append("=").append(value).append("\n");
  }
  return text;
}

}  // namespace

OpenServer::OpenServer(sim::Options options) : world(options.world), simulator(std::move(options)) {
  aapi_plugin_info_t info{};
  aapi_pgn_init(AAPI_INTERFACE_V2, nullptr, &info);
  table = info.entry_points;
}

OpenServer::~OpenServer() {
  table->close_server(server);
  EXPECT_EQ(simulator.unused_faults(), std::vector<std::string>{});
}

ServerSetup OpenServer::AadSetup() const {
  return {{{"CA_FILE_PATH", simulator.ca_file().string()}, {"AAD_LOGIN_ENDPOINT", simulator.aad_host()}},
          {{"IdentityProvider", "AAD"},
           {"TenantId", world.tenant_id},
           {"ClientId", world.aad_clients[0].client_id},
           {"ClientSecret", aad_secret},
           {"AuthResource", world.audience}},
          "",
          "azurestack:" + simulator.management_host()};
}

ServerSetup OpenServer::AdfsSetup() const {
  ServerSetup setup = AadSetup();
  setup.credentials = {
      {"IdentityProvider", "ADFS"}, {"ClientId", world.adfs_users[0].client_id}, {"AuthResource", world.audience}};
  setup.user = world.adfs_users[0].user_name + ":" + adfs_password;
  return setup;
}

Status OpenServer::Open(const ServerSetup& setup) {
  table->close_server(server);
  config_path_ = folder.write_file("azurestack.conf", Lines(setup.config));
  credentials_path_ = folder.write_file("credentials", Lines(setup.credentials), 0600);
  aapi_session_def_v1_t& session = log.session();
  session.config_path = config_path_.c_str();
  session.credentials_path = credentials_path_.c_str();
  session.session_kind = AAPI_SESSION_BACKUP;
  aapi_credentials_v1_t user{};
  V_strlcpy(user.text, setup.user.c_str(), sizeof(user.text));
  return table->open_server(&session, setup.server_name.c_str(), &user, &server);
}

azurestackpi::HttpRequest OpenServer::Request(const std::string& path) const {
  azurestackpi::HttpRequest request;
  request.url = "https://" + simulator.management_host() + path;
  request.headers = {"Version: 4", "Content-Type: application/json", "Accept: application/json"};
  return request;
}

Status OpenServer::Send(const azurestackpi::HttpRequest& request) {
  azurestackpi::azs_rest_server_s rest;
  EXPECT_EQ(azurestackpi::InitRestServerHandle(server, rest), azurestackpi::kOk);
  azurestackpi::AzureStackPi_HttpClient client = azurestackpi::MakeResourceManagerClient(rest);
  const Status status = client.SendHttpRequest(request, response);
  http_status = client.GetHttpStatusCode();
  return status;
}

std::vector<sim::RecordedRequest> OpenServer::ManagementRequests() const {
  std::vector<sim::RecordedRequest> found = simulator.requests();
  std::erase_if(found, [this](const auto& request) { return request.host != simulator.management_host(); });
  return found;
}

std::vector<sim::RecordedRequest> OpenServer::LoginRequests() const {
  std::vector<sim::RecordedRequest> found = simulator.requests();
  std::erase_if(found, [this](const auto& request) {
    return request.host != simulator.aad_host() && request.host != simulator.adfs_host();
  });
  return found;
}

void OpenServer::Answer(const std::string& target, int status, sim::Headers headers, std::string body,
                        std::uint64_t first, std::uint64_t times) {
  sim::AnswerWith answer;
  answer.response.status = status;
  answer.response.headers = std::move(headers);
  answer.response.body = std::move(body);
  simulator.add_fault({"", target, first, times, answer});
}

}  // namespace transport_test
