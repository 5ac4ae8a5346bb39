// Network interfaces and public addresses as the network provider describes them.
#pragma once

#include <string>

#include "sim/json_response.h"
#include "sim/scope.h"

namespace sim {

Json nic_json(const GroupScope& scope, const Named<NetworkInterface>::value_type& named);

enum class AddressState { succeeded, updating };

/// An address that is being updated is not told yet.
Json public_address_json(const GroupScope& scope, const Named<PublicAddress>::value_type& named,
                         AddressState state = AddressState::succeeded);

/// The id of the one IP configuration of an interface.
std::string ip_configuration_id(const std::string& subscription_id, const Reference& place,
                                const NetworkInterface& nic);

/// The interface of the subscription that uses the public address: its IP configuration's id. Empty without one.
std::string user_of(const Subscription& subscription, const Reference& public_address);

}  // namespace sim
