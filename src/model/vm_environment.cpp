#include "src/model/vm_environment.h"

#include "src/config/config.h"

namespace azurestackpi {
namespace {

Status ReadEncoded(AzureStackPi_Config& config, const char* key, std::string& value) {
  const Status status = config.GetCredsVal(key, value);
  AzureStackPi_Config::EncodePath(value);
  return status;
}

}  // namespace

Status PrepareEnvironment(vm_env_t& env) {
  env.m_compute_api_version = "2017-12-01";
  env.m_network_api_version = "2017-10-01";
  env.m_disk_api_version = "2018-09-01";
  AzureStackPi_Config& config = AzureStackPi_Config::getInstance();
  std::string provider;
  Status status = config.GetCredsVal("IdentityProvider", provider);
  if (status == kOk && provider != "ADFS") {
    status = ReadEncoded(config, "TenantId", env.m_tenant_id);
    status = status == kOk ? ReadEncoded(config, "ClientSecret", env.m_client_secret) : status;
  }
  return status == kOk ? config.GetCredsVal("ClientId", env.m_client_id) : status;
}

}  // namespace azurestackpi
