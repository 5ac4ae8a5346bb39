#include "src/config/rest_server.h"

#include <array>

#include "src/base/logging.h"
#include "src/base/text.h"
#include "src/config/config.h"

namespace azurestackpi {
namespace {

constexpr const char* kPublicLoginHost = "login.microsoftonline.com";

}  // namespace

Status parseAzureEndpoint(const std::string& name, std::string& region, std::string& domain) {
  const FunctionLog log(__func__);
  log.detail("parseAzureEndpoint: %s\n", name.c_str());
  const std::vector<std::string> labels = SplitText(name, '.');
  for (std::size_t i = 1; i < labels.size(); ++i) {
    if (i == 1) {
      region = labels[i];
      log.flow("server region : %s\n", region.c_str());
    } else {
      domain += (i == 2 ? "" : ".") + labels[i];
    }
  }
  if (labels.size() < 4) {
    log.error("Server name is not in expected format: %s\n", name.c_str());
    return kInvalidArgument;
  }
  return kOk;
}

Status InitRestServerHandle(const aapi_pgn_server_handle_s* server, azs_rest_server_s& rest) {
  const FunctionLog log(__func__);
  if (server == nullptr || server->server_name.empty() || server->server_name.size() > kLongestEndpoint) {
    log.error("The server name is missing or longer than %zu bytes. AAPI_Errno = %d", kLongestEndpoint,
              static_cast<int>(kInvalidArgument));
    return kInvalidArgument;
  }
  AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
  rest.management_endpoint = server->server_name;
  std::string provider;
  if (config.GetCredsVal("IdentityProvider", provider) != kOk) {
    log.error("Unable to find IdentityProvider parameter value from configuration file");
  }
  const std::string public_host = config.ConfValueOr("AAD_LOGIN_ENDPOINT", "");
  if (provider == "ADFS") {
    rest.login_endpoint = "adfs." + server->region_name + "." + server->domain_name;
  } else {
    rest.login_endpoint = public_host.empty() ? kPublicLoginHost : public_host;
  }
  return kOk;
}

Status DescribeServer(const std::string& server_name, aapi_pgn_server_handle_s& server, azs_rest_server_s& rest) {
  server.server_name = server_name;
  const Status status = parseAzureEndpoint(server_name, server.region_name, server.domain_name);
  return status == kOk ? InitRestServerHandle(&server, rest) : status;
}

Status parseSRVSection(const std::string& selection, std::string& subscription_id, std::string& resource_group,
                       std::string& vm_name) {
  const FunctionLog log(__func__);
  log.detail("parseSRVSection: %s\n", selection.c_str());
  const std::vector<std::string> tokens = SplitText(selection, '/');
  const std::array<std::string*, 4> outputs{nullptr, &subscription_id, &resource_group, &vm_name};
  const std::array<const char*, 4> names{"token", "subscription_id", "resource_group", "vm_name"};
  for (std::size_t i = 0; i < tokens.size() && i < outputs.size(); ++i) {
    if (outputs[i] == nullptr) {
      log.detail("token: %s", tokens[i].c_str());
    } else {
      log.detail("%s: %s\n", names[i], tokens[i].c_str());
      *outputs[i] = tokens[i];
    }
  }
  if (tokens.size() < 2 || tokens.size() > 4) {
    log.error("Incorrect selection entry: %s, return code: %d \n", selection.c_str(),
              static_cast<int>(kSelectionInvalid));
    return kSelectionInvalid;
  }
  return kOk;
}

}  // namespace azurestackpi
