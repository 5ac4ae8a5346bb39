#include "src/recovery/create_nic.h"

#include <utility>

#include "src/base/text.h"
#include "src/config/config.h"
#include "src/recovery/request_bodies.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr const char* kDefaultSubnet = "default";
constexpr std::string_view kSubnetMark = "/subnets/";

// The resource's own id: others stand further inside.
Status ReadId(const FunctionLog& log, const _Response& response, std::string& id) {
  JsonPtr root;
  if (const Status status = OpenJson(log, response.body, root); status != kOk) {
    return status;
  }
  const char* key = nullptr;
  json_t* value = nullptr;
  json_object_foreach(root.get(), key, value) { log.detail("key = %s", key); }
  id = JsonStringOrEmpty(root.get(), "id");
  if (id.empty()) {
    log.error("The answer holds no id");
    return kInternalError;
  }
  return kOk;
}

}  // namespace

NetworkName SplitNetworkName(const std::string& name) {
  const std::size_t mark = name.find(kSubnetMark);
  if (mark == std::string::npos) {
    return {name, ""};
  }
  return {LastPathComponent(name.substr(0, mark)), name.substr(mark + kSubnetMark.size())};
}

createNic::createNic(const azs_rest_server_s& rest, vm_env_t env) : calls_(rest), env_(std::move(env)) {}

void createNic::ChooseNetwork() {
  const FunctionLog log("addNic");
  if (env_.m_vnet_name.empty()) {
    env_.m_vnet_name = env_.m_resource_group + "-vnet";
    env_.m_subnet = kDefaultSubnet;
    return;
  }
  log.flow("VM_RECOVERY: v_net : %s", env_.m_vnet_name.c_str());
  const NetworkName named = SplitNetworkName(env_.m_vnet_name);
  if (named.network != env_.m_vnet_name) {
    env_.m_vnet_name = named.network;
    env_.m_subnet = env_.m_subnet.empty() ? named.subnet : env_.m_subnet;
    log.flow("VM_RECOVERY:  Corrected v_net : %s", env_.m_vnet_name.c_str());
  }
  if (env_.m_subnet.empty()) {
    env_.m_subnet = kDefaultSubnet;
  }
}

Status createNic::addNic(std::string& nic_id) {
  const FunctionLog log(__func__);
  ChooseNetwork();
  log.flow("Enter");
  ObtainAddress();
  const Status status = MakeInterface();
  if (status == kOk) {
    nic_id = m_nic_id;
  } else if (!m_public_ip_id.empty()) {
    log.error("The public IP address %s was made for VM %s and stays", m_public_ip_id.c_str(), env_.m_vm_name.c_str());
  }
  return status;
}

void createNic::ObtainAddress() {
  const FunctionLog log("addNic");
  const std::string wanted = AzureStackPi_Config::getInstance().ConfValueOr("SET_PUBLIC_IP_DURING_RESTORE", "true");
  if (!EqualIgnoringCase(wanted, "false")) {
    static_cast<void>(getPublicIP());
    if (m_public_ip_id.empty()) {
      log.error("using  private IP  for vm  creation ");
    }
  }
  log.detail("METADATA_RECOVERY: created resource public_ip : %s", m_public_ip_id.c_str());
}

std::string createNic::Subpath(const char* type, const std::string& name) const {
  return "subscriptions/" + env_.m_subscription_id + "/resourcegroups/" + env_.m_resource_group +
         "/providers/Microsoft.Network/" + type + "/" + name + "/?api-version=" + env_.m_network_api_version;
}

bool createNic::Put(const std::string& body) {
  const Status sent = calls_.Send(kPut, &body, kLongRequest);
  return sent == kOk && (calls_.HttpStatus() == 200 || calls_.HttpStatus() == 201);
}

Status createNic::Refused(const FunctionLog& log, const char* what, const std::string& name) const {
  ParseFailureResponse(calls_.failure_response());
  log.error("The %s %s of VM %s could not be made: %s", what, name.c_str(), env_.m_vm_name.c_str(),
            calls_.WhyNotMade().c_str());
  return kInternalError;
}

Status createNic::MakeInterface() {
  const FunctionLog log("addNic");
  const std::string sub_url = Subpath("networkInterfaces", env_.m_nic_name);
  log.flow("sub_url nic :%s", sub_url.c_str());
  if (const Status status = CreateUrl(sub_url); status != kOk) {
    log.error("error CreateUrl failed :%d", static_cast<int>(status));
    return status;
  }
  const std::string body = NicBody(env_, m_public_ip_id);
  log.flow("reqbody nic :%s", body.c_str());
  if (!Put(body)) {
    return Refused(log, "network interface", env_.m_nic_name);
  }
  if (ParseNicId(calls_.response()) != kOk) {
    log.error("The network interface %s was made for VM %s and stays: its id is not known", env_.m_nic_name.c_str(),
              env_.m_vm_name.c_str());
    return kInternalError;
  }
  log.flow("nic_id %s", m_nic_id.c_str());
  return kOk;
}

Status createNic::getPublicIP() {
  const FunctionLog log(__func__);
  log.flow("Enter");
  const std::string body = PublicIpBody(env_);
  const std::string sub_url = Subpath("publicIPAddresses", env_.m_public_ip_name);
  log.flow(" pIP sub_url %s", sub_url.c_str());
  if (const Status status = CreateUrl(sub_url); status != kOk) {
    log.error("failed : CreateUrl");
    return status;
  }
  log.flow("reqbody : %s", body.c_str());
  if (!Put(body)) {
    return Refused(log, "public IP address", env_.m_public_ip_name);
  }
  const Status status = ParseResponse(calls_.response());
  if (status != kOk) {
    log.error("The public IP address %s was made for VM %s and stays: its id is not known",
              env_.m_public_ip_name.c_str(), env_.m_vm_name.c_str());
  }
  return status;
}

Status createNic::ParseNicId(const _Response& response) {
  const FunctionLog log(__func__);
  const Status status = ReadId(log, response, m_nic_id);
  log.detail("nic_id: %s", m_nic_id.c_str());
  return status;
}

Status createNic::ParseResponse(const _Response& response) {
  const FunctionLog log(__func__);
  const Status status = ReadId(log, response, m_public_ip_id);
  log.detail("public_ip: %s", m_public_ip_id.c_str());
  return status;
}

void createNic::ParseFailureResponse(const _Response& response) {
  const FunctionLog log(__func__);
  log.error("Error = %s ", ReadServiceError(response.body).message.c_str());
  log.error("\nEnsure that the specified resources for restore are configured  on azurestack");
}

}  // namespace azurestackpi
