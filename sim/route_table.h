// Which function answers a request. A new kind of resource is a further file that adds its routes to the table.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "sim/form.h"
#include "sim/http_message.h"

namespace sim {

/// The services that share the one port, told apart by the Host header.
enum class Service { management, aad, adfs, control };

/// A request that a route was found for.
struct Call {
  const Request& request;
  std::map<std::string, std::string> path;  // values of the route's {names}, percent-decoded
  Fields query;
};

struct Route {
  Service service;
  std::string method;
  /// "/subscriptions/{subscriptionId}/resourcegroups". Letters match in either case and one closing slash more or less
  /// makes no difference, as in Resource Manager.
  std::string path;
  std::function<Response(const Call&)> answer;
  /// The api-versions that are answered; for the management service only.
  std::vector<std::string> api_versions = {};
  /// Whether the management service wants a bearer token.
  bool needs_token = true;
  /// "Microsoft.Compute/disks" when a provider answers; empty for what Resource Manager answers itself.
  std::string resource_type = {};
};

class RouteTable {
 public:
  struct Match {
    const Route* route;  // null when there is none; lives as long as the table
    Call call;
  };

  void add(Route route);
  Match find(Service service, const Request& request) const;

 private:
  struct Entry {
    Route route;
    std::vector<std::string> segments;
  };
  std::vector<Entry> entries_;
};

}  // namespace sim
