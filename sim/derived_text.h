// Texts that look random but are always the same for the same seed, so that a world file gives the same cloud each time
// it is started: what a client wrote down stays right, and a blob server started earlier keeps its keys.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace sim {

/// "8b23e76d-8f49-46a0-abcb-a50d2d0782ad"
std::string guid_of(std::string_view seed);

/// The two keys of a storage account, each 64 bytes in base64.
std::vector<std::string> storage_keys_of(std::string_view account);

/// "00-15-5D-1F-A0-3C"
std::string mac_address_of(std::string_view seed);

}  // namespace sim
