// The routes of one provider's resources.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "sim/cloud.h"
#include "sim/route_table.h"

namespace sim {

/// The api-versions that an Azure Stack knows, operations included.
namespace api_versions {
inline const std::vector<std::string> compute = {"2016-03-30", "2017-03-30", "2017-12-01", "2020-06-01"};
inline const std::vector<std::string> disks = {"2017-03-30", "2018-04-01", "2018-06-01",
                                               "2018-09-30", "2019-03-01", "2019-07-01"};
inline const std::vector<std::string> network = {"2015-06-15", "2017-10-01", "2018-11-01"};
inline const std::vector<std::string> storage = {"2016-01-01", "2017-10-01", "2019-06-01"};
}  // namespace api_versions

/// Adds routes that answer for one type of resource. The table and the cloud must outlive it, the cloud also the table.
class ProviderRoutes {
 public:
  ProviderRoutes(RouteTable& routes, Cloud& cloud, std::string resource_type, std::vector<std::string> versions)
      : routes_(routes), cloud_(cloud), resource_type_(std::move(resource_type)), versions_(std::move(versions)) {}

  void add(const char* method, const std::string& path, Response (*answer)(Cloud&, const Call&)) {
    routes_.add({.service = Service::management,
                 .method = method,
                 .path = path,
                 .answer = [&cloud = cloud_, answer](const Call& call) { return answer(cloud, call); },
                 .api_versions = versions_,
                 .resource_type = resource_type_});
  }

 private:
  RouteTable& routes_;
  Cloud& cloud_;
  const std::string resource_type_;
  const std::vector<std::string> versions_;
};

}  // namespace sim
