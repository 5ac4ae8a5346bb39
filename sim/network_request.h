// The bodies of PUTs of network resources.
#pragma once

#include <string>

#include "sim/scope.h"

namespace sim {

/// The interface of this name that the request asks for; the world stays as it is. Throws Refusal for what the network
/// provider refuses.
NetworkInterface requested_nic(const Cloud& cloud, const GroupScope& scope, const Call& call, const std::string& name);

/// The same for a public address.
PublicAddress requested_public_address(const Cloud& cloud, const GroupScope& scope, const Call& call);

}  // namespace sim
