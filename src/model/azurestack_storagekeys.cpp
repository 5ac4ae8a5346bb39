#include "src/model/azurestack_storagekeys.h"

#include "src/base/logging.h"
#include "src/base/process_state.h"
#include "src/rest/json_text.h"

namespace azurestackpi {
namespace {

ProcessValue<std::unique_ptr<azurestack_storagekeys>> m_singleton("subscriptions and storage accounts");

}  // namespace

Status azurestack_storagekeys::createInstance(aapi_pgn_server_handle_s* server) {
  if (*m_singleton) {
    return kOk;
  }
  const FunctionLog log(__func__);
  log.flow("Creating new instance");
  azs_rest_server_s rest;
  if (const Status status = InitRestServerHandle(server, rest); status != kOk) {
    return status;
  }
  auto made = std::make_unique<azurestack_storagekeys>(rest);
  if (const Status status = made->BuildSubList(); status != kOk) {
    log.error("Failed to generate subscription list");
    return status;
  }
  *m_singleton = std::move(made);
  return kOk;
}

azurestack_storagekeys* azurestack_storagekeys::getInstance() { return m_singleton->get(); }

void azurestack_storagekeys::destroyInstance() { m_singleton->reset(); }

azurestack_storagekeys::azurestack_storagekeys(const azs_rest_server_s& rest)
    : azurestack_resource(&rest), rest_(rest) {
  // The base was given the caller's descriptor only to begin with; from here on it uses this object's own.
  initRestServer(&rest_);
}

Status azurestack_storagekeys::BuildSubList() {
  const FunctionLog log(__func__);
  log.flow("Enter");
  const std::string subpath = "subscriptions?api-version=2018-05-01";
  log.detail("sub_url get all subscriptions :%s", subpath.c_str());
  Status status = MakeAPICall(subpath, kGet, nullptr, kShortRequest);
  if (status != kOk) {
    log.error("error failed to make http request :%d", static_cast<int>(status));
  } else {
    status = ParseAllSubscriptions(response().header, response().body);
    if (status != kOk) {
      log.error("error failed to parse response. rc :%d", static_cast<int>(status));
    } else {
      log.flow("Parsed All Subscriptions. Number of subscriptions : %d", static_cast<int>(subscriptions_.size()));
    }
  }
  if (status == kOk && subscriptions_.empty()) {
    log.error("Failed to fetch any subscription ");
    status = kInvalidArgument;
  }
  log.flow("Leaving. rc = %d ", static_cast<int>(status));
  return status;
}

Status azurestack_storagekeys::ParseAllSubscriptions(const std::string& header, const std::string& body) {
  const FunctionLog log(__func__);
  if (const Status status = CheckHeader(header.c_str(), body.c_str(), "storage_account"); status != kOk) {
    return status;
  }
  json_error_t error{};
  const JsonPtr root = ParseJson(body, error);
  if (!root) {
    log.error("error while parsing json: on line %d: %s", error.line, error.text);
    return kBadJson;
  }
  const json_t* const value = json_object_get(root.get(), "value");
  log.detail("Total Subscriptions Accounts: %d", static_cast<int>(json_array_size(value)));
  for (std::size_t i = 0; i < json_array_size(value); ++i) {
    const std::string id = JsonStringOrEmpty(json_array_get(value, i), "id");
    if (addSubToMap(id) != kOk) {
      log.error("Failed to parse subscription %s", id.c_str());
    }
  }
  return kOk;
}

Status azurestack_storagekeys::addSubToMap(const std::string& id) {
  const FunctionLog log(__func__);
  constexpr const char* key = "/subscriptions/";
  const std::size_t found = id.find(key);
  if (found == std::string::npos) {
    log.error("can't find key %s in subscription id %s ", key, id.c_str());
    return kInvalidArgument;
  }
  subscriptions_.push_back(id.substr(found + std::char_traits<char>::length(key)));
  log.detail("subscription %s added to subscription list", subscriptions_.back().c_str());
  return kOk;
}

}  // namespace azurestackpi
