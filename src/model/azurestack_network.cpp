#include "src/model/azurestack_network.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "src/base/process_state.h"
#include "src/base/text.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

ProcessValue<std::unique_ptr<azurestack_network>> m_singleton("network resources");

constexpr const char* kVnetType = "virtualNetworks";
constexpr const char* kNsgType = "networkSecurityGroups";
constexpr const char* kListingApiVersion = "2018-09-01";
constexpr const char* kSubnetApiVersion = "2017-10-01";
constexpr const char* kNetworkFilter =
    "$filter=(ResourceType%20eq%20'Microsoft.Network/networkSecurityGroups'%20or%20"
    "ResourceType%20eq%20'Microsoft.Network/virtualNetworks')";

// Stands in place of a resource group for a subscription that was listed and has none of a kind.
constexpr const char* kNone = "RESOURCE_NOT_FOUND";

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool CaselessOrder::operator()(std::string_view left, std::string_view right) const {
  return std::lexicographical_compare(left.begin(), left.end(), right.begin(), right.end(),
                                      [](char a, char b) { return Lower(a) < Lower(b); });
}

Status azurestack_network::createInstance(const aapi_pgn_server_handle_s* server) {
  if (*m_singleton) {
    return kOk;
  }
  const FunctionLog log(__func__);
  log.flow("Network: Creating new instance");
  azs_rest_server_s rest;
  const Status status = InitRestServerHandle(server, rest);
  if (status == kOk) {
    *m_singleton = std::make_unique<azurestack_network>(rest);
  }
  return status;
}

azurestack_network* azurestack_network::getInstance() { return m_singleton->get(); }

void azurestack_network::destroyInstance() { m_singleton->reset(); }

bool azurestack_network::parseResourceId(const std::string& id, std::string& subscription, std::string& resource_group,
                                         std::string& type, std::string& name) {
  const std::vector<std::string> tokens = SplitText(id, '/');
  if (tokens.size() != 9) {
    return false;
  }
  subscription = tokens[2];
  resource_group = tokens[4];
  type = tokens[7];
  name = tokens[8];
  return true;
}

Status azurestack_network::listResources(const std::string& subscription) {
  const FunctionLog log(__func__);
  if (!IsPathSegment(subscription)) {
    log.error("The subscription %s cannot be part of an address", subscription.c_str());
    return kInvalidArgument;
  }
  const std::string subpath =
      "subscriptions/" + subscription + "/resources?api-version=" + kListingApiVersion + "&" + kNetworkFilter;
  log.detail("sub_url get all resoruces:%s", subpath.c_str());
  if (const Status status = MakeAPICall(subpath); status != kOk) {
    log.error("error failed to make http request :%d", static_cast<int>(status));
    return status;
  }
  if (const Status status = ParseAllResources(); status != kOk) {
    log.error("error failed to parse response. rc :%d", static_cast<int>(status));
    return status;
  }
  for (ResourceMap* map : {&nsgs_, &vnets_}) {
    if (map->count(subscription) == 0) {
      addToMap(*map, subscription, kNone, "");
    }
  }
  return kOk;
}

Status azurestack_network::ParseAllResources() {
  const FunctionLog log(__func__);
  return ReadList(log, response(), {"resources", "resources"}, [&](const json_t* resource) {
    AddResource(JsonStringOrEmpty(resource, "id"));
    return kOk;
  });
}

void azurestack_network::AddResource(const std::string& id) {
  const FunctionLog log("ParseAllResources");
  log.detail("resource Id %s", id.c_str());
  std::string subscription;
  std::string resource_group;
  std::string type;
  std::string name;
  if (!parseResourceId(id, subscription, resource_group, type, name)) {
    log.error("Failed to parse resource Id %s", id.c_str());
  } else if (EqualIgnoringCase(type, kVnetType)) {
    addToMap(vnets_, subscription, resource_group, id);
    ids_.push_back(id);
  } else if (EqualIgnoringCase(type, kNsgType)) {
    addToMap(nsgs_, subscription, resource_group, id);
    ids_.push_back(id);
  } else {
    log.detail("Not maching resource type %s", type.c_str());
  }
}

void azurestack_network::addToMap(ResourceMap& map, const std::string& subscription, const std::string& resource_group,
                                  const std::string& id) {
  map[subscription].emplace(resource_group, id);
}

bool azurestack_network::fetchResources(const ResourceMap& map, const std::string& subscription) {
  const auto found = map.find(subscription);
  if (found == map.end()) {
    static_cast<void>(listResources(subscription));
    return true;
  }
  return found->second.count(kNone) == 0;
}

Status azurestack_network::ListInGroup(const ResourceMap& map, const std::string& subscription,
                                       const std::string& resource_group, std::vector<std::string>& ids) {
  static_cast<void>(fetchResources(map, subscription));
  const auto groups = map.find(subscription);
  if (groups == map.end() || groups->second.count(kNone) != 0 || groups->second.count(resource_group) == 0) {
    return kInvalidArgument;
  }
  ids.push_back(groups->second.at(resource_group));
  return kOk;
}

Status azurestack_network::ListAll(const ResourceMap& map, const std::string& subscription,
                                   std::vector<std::string>& ids) {
  static_cast<void>(fetchResources(map, subscription));
  const auto groups = map.find(subscription);
  if (groups == map.end() || groups->second.count(kNone) != 0) {
    return kInvalidArgument;
  }
  for (const auto& [group, id] : groups->second) {
    ids.push_back(id);
  }
  return kOk;
}

Status azurestack_network::listNsgs(const std::string& subscription, const std::string& resource_group,
                                    std::vector<std::string>& ids) {
  return ListInGroup(nsgs_, subscription, resource_group, ids);
}

Status azurestack_network::listVnets(const std::string& subscription, const std::string& resource_group,
                                     std::vector<std::string>& ids) {
  return ListInGroup(vnets_, subscription, resource_group, ids);
}

Status azurestack_network::listNsgs(const std::string& subscription, std::vector<std::string>& ids) {
  return ListAll(nsgs_, subscription, ids);
}

Status azurestack_network::listVnets(const std::string& subscription, std::vector<std::string>& ids) {
  return ListAll(vnets_, subscription, ids);
}

std::string azurestack_network::Find(const ResourceMap& map, const std::string& subscription,
                                     const std::string& resource_group, const std::string& type,
                                     const std::string& name) {
  static_cast<void>(fetchResources(map, subscription));
  std::string found;
  for (const std::string& id : ids_) {
    std::string its_subscription;
    std::string its_group;
    std::string its_type;
    std::string its_name;
    parseResourceId(id, its_subscription, its_group, its_type, its_name);
    if (!EqualIgnoringCase(its_subscription, subscription) || !EqualIgnoringCase(its_type, type) ||
        !EqualIgnoringCase(its_name, name)) {
      continue;
    }
    if (EqualIgnoringCase(its_group, resource_group)) {
      return id;
    }
    found = found.empty() ? id : found;
  }
  return found;
}

std::string azurestack_network::findNsg(const std::string& subscription, const std::string& resource_group,
                                        const std::string& name) {
  return Find(nsgs_, subscription, resource_group, kNsgType, name);
}

std::string azurestack_network::findVnet(const std::string& subscription, const std::string& resource_group,
                                         const std::string& name) {
  return Find(vnets_, subscription, resource_group, kVnetType, name);
}

bool azurestack_network::hasSubnet(const std::string& vnet_id, const std::string& subnet) {
  std::string chosen;
  return getSubnet(vnet_id, chosen) == kOk && subnets_[vnet_id].names.count(subnet) != 0;
}

Status azurestack_network::getSubnet(const std::string& vnet_id, std::string& subnet) {
  const FunctionLog log(__func__);
  if (subnets_.count(vnet_id) == 0) {
    if (vnet_id.empty() || !IsUrlPath(vnet_id)) {
      log.error("The virtual network %s cannot be part of an address", vnet_id.c_str());
      return kInvalidArgument;
    }
    const std::string subpath = vnet_id + "/subnets?api-version=" + kSubnetApiVersion;
    log.detail("sub_url get subnets:%s", subpath.c_str());
    if (const Status status = MakeAPICall(subpath); status != kOk) {
      log.error("error failed to make http request :%d", static_cast<int>(status));
      return status;
    }
    if (const Status status = ParseSubnet(vnet_id); status != kOk) {
      log.error("error failed to parse response. rc :%d", static_cast<int>(status));
      return status;
    }
  }
  subnet = subnets_[vnet_id].chosen;
  return kOk;
}

Status azurestack_network::ParseSubnet(const std::string& vnet_id) {
  const FunctionLog log(__func__);
  Subnets subnets;
  const Status status = ReadList(log, response(), {"subnets", "subnets"}, [&](const json_t* subnet) {
    const std::string name = JsonStringOrEmpty(subnet, "name");
    log.detail("subnet name %s", name.c_str());
    if (subnets.chosen != "default" && !name.empty()) {
      subnets.chosen = name;
    }
    subnets.names.insert(name);
    return kOk;
  });
  if (status != kOk) {
    return status;
  }
  if (subnets.chosen.empty()) {
    return kResourceNotFound;
  }
  subnets_[vnet_id] = std::move(subnets);
  return kOk;
}

}  // namespace azurestackpi
