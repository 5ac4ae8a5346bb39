// Server names, the endpoints they lead to, and the selections of a backup.
#pragma once

#include <string>

#include "src/base/server_handle.h"
#include "src/base/status.h"

namespace azurestackpi {

/// The two hosts that a REST client talks to; either may end in ":port".
struct azs_rest_server_s {
  std::string management_endpoint;  // Resource Manager: the server name without "azurestack:"
  std::string login_endpoint;       // the authority that issues tokens
};

/// Longest server name, in bytes, that a descriptor takes.
inline constexpr std::size_t kLongestEndpoint = 127;

/// Splits SERVICE.REGION.DOMAIN (at least four labels, the domain all from the third on). Returns 0, or 6601 with
/// region and domain set as far as the labels go.
Status parseAzureEndpoint(const std::string& name, std::string& region, std::string& domain);

/// Fills the descriptor for a server: "IdentityProvider" in the credentials store decides between the region's own
/// federation service ("ADFS", exactly so) and the public login host. Returns 0; 6601 for a null handle or for a name
/// of 128 bytes or more, which no part of would be the right host.
Status InitRestServerHandle(const aapi_pgn_server_handle_s* server, azs_rest_server_s& rest);

/// Fills a handle and its descriptor for a server that is known by its name alone. Returns 0; 6601 for a name of
/// another form.
Status DescribeServer(const std::string& server_name, aapi_pgn_server_handle_s& server, azs_rest_server_s& rest);

/// Parses "/SUBSCRIPTION[/GROUP[/VM]]"; what is not named stays empty. Returns 0, or 6795.
Status parseSRVSection(const std::string& selection, std::string& subscription_id, std::string& resource_group,
                       std::string& vm_name);

}  // namespace azurestackpi
