#include "src/object/resource_groups.h"

#include <algorithm>
#include <vector>

#include "src/base/logging.h"
#include "src/base/server_handle.h"
#include "src/base/text.h"
#include "src/config/rest_server.h"
#include "src/model/resource_calls.h"
#include "src/object/restore_state.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

constexpr const char* kGroupsApiVersion = "2018-09-01";

Status RequestGroups(const FunctionLog& log, const std::string& subscription, ResourceCalls& calls) {
  const std::string subpath = "subscriptions/" + subscription + "/resourcegroups/?api-version=" + kGroupsApiVersion;
  log.detail("sub_url get rg :%s", subpath.c_str());
  Status status = IsPathSegment(subscription) ? calls.CreateUrl(subpath) : static_cast<Status>(kInvalidArgument);
  if (status != kOk) {
    log.error("Failed to create Rest Api query :%d", static_cast<int>(status));
    return status;
  }
  status = calls.Get();
  if (status != kOk) {
    log.error("Unable to make HTTP request :%d", static_cast<int>(status));
  }
  return status;
}

Status ListGroups(const FunctionLog& log, const std::string& server_name, const std::string& subscription) {
  aapi_pgn_server_handle_s server;
  azs_rest_server_s rest;
  if (const Status status = DescribeServer(server_name, server, rest); status != kOk) {
    return status;
  }
  ResourceCalls calls(rest);
  if (const Status status = RequestGroups(log, subscription, calls); status != kOk) {
    return status;
  }
  std::vector<std::string> names;
  const Status status = ReadList(log, calls.response(), {"RG", "RGs", kBadJson}, [&](const json_t* group) {
    names.push_back(JsonStringOrEmpty(group, "name"));
    return kOk;
  });
  if (status == kOk) {
    subid_rg_map()[ToLower(subscription)] = std::move(names);
  }
  return status;
}

}  // namespace

Status azurestackpi_get_rg_from_subscription(const std::string& server_name, const std::string& subscription) {
  const FunctionLog log(__func__);
  log.flow("Enter azurestackpi_get_rg_from_subscription");
  log.flow("server name is %s", server_name.c_str());
  const bool known = subid_rg_map().count(ToLower(subscription)) != 0;
  const Status status = known ? static_cast<Status>(kOk) : ListGroups(log, server_name, subscription);
  log.flow("Leaving. rc = %d ", static_cast<int>(status));
  return status;
}

bool HasResourceGroup(const std::string& subscription, const std::string& group) {
  const auto entry = subid_rg_map().find(ToLower(subscription));
  return !group.empty() && entry != subid_rg_map().end() &&
         std::ranges::any_of(entry->second, [&](const std::string& name) { return EqualIgnoringCase(name, group); });
}

}  // namespace azurestackpi
