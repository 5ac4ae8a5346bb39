// The network interface of a machine that is made anew.
#pragma once

#include <string>

#include "src/model/resource_calls.h"
#include "src/model/vm_records.h"

namespace azurestackpi {

/// A virtual network as an operator names it: by its name, or by the path of one of its subnets,
/// "[...]NETWORK/subnets/SUBNET".
struct NetworkName {
  std::string network;
  std::string subnet;  // empty: not named
};
NetworkName SplitNetworkName(const std::string& name);

/// Makes one interface, attached to the environment's network and security group, and a public address for it when the
/// configuration wants one. An environment that names no network means "GROUP-vnet", no subnet "default".
class createNic {
 public:
  createNic(const azs_rest_server_s& rest, vm_env_t env);

  /// Makes the public address, when wanted, and the interface; without an address the interface is made all the same.
  /// Returns 0 with the interface's resource id; 6622 with lines that say why there is none; or why no address of the
  /// request could be made.
  Status addNic(std::string& nic_id);

  /// Makes the public address and keeps its id. Returns 0 or, with lines that say why, a failure as addNic.
  Status getPublicIP();

  /// Resource id of the public address; empty when there is none.
  const std::string& public_ip_id() const { return m_public_ip_id; }

  /// Keep the id in an answer. Return 0; 5 for a body that is not JSON, 6622 for one without an id, with a line.
  Status ParseNicId(const _Response& response);
  Status ParseResponse(const _Response& response);

  /// Logs what the service says of a failure.
  static void ParseFailureResponse(const _Response& response);

  /// Makes a path of the management endpoint the address of the next request. Returns 0 or 6601.
  Status CreateUrl(const std::string& subpath) { return calls_.CreateUrl(subpath); }

 private:
  void ChooseNetwork();
  void ObtainAddress();
  std::string Subpath(const char* type, const std::string& name) const;
  bool Put(const std::string& body);
  Status MakeInterface();
  Status Refused(const FunctionLog& log, const char* what, const std::string& name) const;

  ResourceCalls calls_;
  vm_env_t env_;
  std::string m_public_ip_id;
  std::string m_nic_id;
};

}  // namespace azurestackpi
